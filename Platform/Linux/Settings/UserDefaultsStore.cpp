#include "Platform/Linux/Settings/UserDefaultsStore.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "TolvanderCore/Foundation/Base64.h"
#include "TolvanderCore/JSON/DecodingError.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::int64_t currentVersion = 1;

struct ValueWriter {
  JSONWriter& writer;

  void operator()(bool value) const { writer.boolean(value); }
  void operator()(const std::string& text) const { writer.string(text); }
  void operator()(const std::vector<std::byte>& bytes) const {
    writer.beginObject();
    writer.string("base64", base64Text(bytes));
    writer.endObject();
  }
};

[[noreturn]] void fail(std::string_view key, std::string_view reason) {
  throw DecodingError(DecodingError::Case::dataCorrupted, key, reason);
}

void requireSize(const JSONObject& object, std::size_t size, std::string_view key) {
  if (object.size() != size) {
    fail(key, "the value has an unknown type");
  }
}

UserDefaultsValue decodeValue(const JSONValue& value, std::string_view key) {
  if (value.isBoolean()) {
    return value.boolean();
  }
  if (value.isString()) {
    return value.string();
  }
  const JSONObject tagged = value.object();
  requireSize(tagged, 1, key);
  return tagged.required("base64").base64Bytes();
}

}  // namespace

std::string encodeUserDefaults(const UserDefaultsValues& values) {
  return jsonText(JSONWriter::Style::prettyPrinted, [&](JSONWriter& writer) {
    writer.beginObject();
    writer.integer("version", currentVersion);
    writer.key("values");
    writer.beginObject();
    for (const auto& [key, value] : values) {
      writer.key(key);
      std::visit(ValueWriter{writer}, value);
    }
    writer.endObject();
    writer.endObject();
  });
}

UserDefaultsValues decodeUserDefaults(std::span<const std::byte> json) {
  const JSONDocument document(json);
  const JSONObject store = document.root().object();
  if (store.required("version").integer() != currentVersion) {
    fail("version", "another version's form");
  }
  requireSize(store, 2, "");
  UserDefaultsValues values;
  store.required("values").object().forEach([&](std::string_view key, const JSONValue& value) {
    if (!values.emplace(key, decodeValue(value, key)).second) {
      fail(key, "the key occurs twice");
    }
  });
  return values;
}

}  // namespace tolvander::platform::linux_
