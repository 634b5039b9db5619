#include "TolvanderCore/JSONReader.h"

#include <algorithm>
#include <cmath>
#include <concepts>
#include <limits>

#include "TolvanderCore/Base64.h"
#include "TolvanderCore/FileReader.h"
#include "TolvanderCore/ISO8601.h"

namespace tolvander {

namespace {

constexpr std::size_t maximumDepth = 512;

// Up to here every whole double is exactly the number that was written.
constexpr double largestExactDouble = 9'007'199'254'740'992.0;

}  // namespace

void JSONValue::fail(DecodingError::Case kind, std::string_view debugDescription) const {
  throw DecodingError(kind, key_, debugDescription);
}

JSONObject JSONValue::object() const {
  simdjson::dom::object object;
  if (element_.get(object) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not an object");
  }
  return JSONObject(object);
}

std::vector<JSONValue> JSONValue::array() const {
  simdjson::dom::array array;
  if (element_.get(array) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not an array");
  }
  std::vector<JSONValue> values;
  for (const auto element : array) {
    values.emplace_back(element, key_);
  }
  return values;
}

std::string JSONValue::string() const {
  std::string_view text;
  if (element_.get(text) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not a string");
  }
  return std::string(text);
}

template <typename Integer>
Integer JSONValue::wholeNumber() const {
  Integer number = 0;
  const bool isSpeltAsFraction = element_.type() == simdjson::dom::element_type::DOUBLE;
  if (!isSpeltAsFraction && element_.get(number) == simdjson::SUCCESS) {
    return number;
  }
  double real = 0;
  if (!isSpeltAsFraction || element_.get(real) != simdjson::SUCCESS) {
    fail(element_.is_number() ? DecodingError::Case::dataCorrupted : DecodingError::Case::typeMismatch,
         "not a number of this size");
  }
  const bool isWhole = std::trunc(real) == real && std::abs(real) <= largestExactDouble;
  if (!isWhole || (std::unsigned_integral<Integer> && real < 0)) {
    fail(DecodingError::Case::dataCorrupted, "not a whole number");
  }
  return static_cast<Integer>(real);
}

std::int64_t JSONValue::integer() const { return wholeNumber<std::int64_t>(); }

std::uint64_t JSONValue::unsignedInteger() const { return wholeNumber<std::uint64_t>(); }

bool JSONValue::boolean() const {
  bool value = false;
  if (element_.get(value) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not a boolean");
  }
  return value;
}

Date JSONValue::iso8601Date() const {
  const auto date = dateFromISO8601(string());
  if (!date) {
    fail(DecodingError::Case::dataCorrupted, "not a date of the form 2026-11-15T19:13:17Z");
  }
  return *date;
}

UUID JSONValue::uuid() const {
  const auto uuid = UUID::fromText(string());
  if (!uuid) {
    fail(DecodingError::Case::dataCorrupted, "not a UUID");
  }
  return *uuid;
}

std::vector<std::byte> JSONValue::base64Bytes() const {
  auto bytes = bytesFromBase64(string());
  if (!bytes) {
    fail(DecodingError::Case::dataCorrupted, "not Base64");
  }
  return *std::move(bytes);
}

std::optional<JSONValue> JSONObject::find(std::string_view key) const {
  std::optional<JSONValue> found;
  for (const auto field : object_) {
    if (field.key != key) {
      continue;
    }
    if (found) {
      throw DecodingError(DecodingError::Case::dataCorrupted, key, "the key stands twice");
    }
    found.emplace(field.value, field.key);
  }
  return found;
}

JSONValue JSONObject::required(std::string_view key) const {
  const auto value = find(key);
  if (!value) {
    throw DecodingError(DecodingError::Case::keyNotFound, key, "a required key is missing");
  }
  return *value;
}

std::optional<JSONValue> JSONObject::optional(std::string_view key) const {
  const auto value = find(key);
  return value && !value->isNull() ? value : std::nullopt;
}

std::optional<std::string> JSONObject::optionalString(std::string_view key) const {
  const auto value = optional(key);
  return value ? std::optional(value->string()) : std::nullopt;
}

std::optional<std::int64_t> JSONObject::optionalInteger(std::string_view key) const {
  const auto value = optional(key);
  return value ? std::optional(value->integer()) : std::nullopt;
}

JSONDocument::JSONDocument(std::span<const std::byte> bytes) {
  parse(simdjson::padded_string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

JSONDocument::JSONDocument(const FileURL& file) {
  FileReader reader(file);
  simdjson::padded_string text(reader.size());
  const std::size_t count = reader.read(std::as_writable_bytes(std::span(text.data(), text.size())));
  if (count != text.size()) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "the file became shorter while it was read");
  }
  parse(text);
}

void JSONDocument::parse(const simdjson::padded_string& text) {
  if (parser_.allocate(std::max<std::size_t>(text.size(), 1), maximumDepth) != simdjson::SUCCESS ||
      parser_.parse(text).get(root_) != simdjson::SUCCESS) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "not JSON");
  }
}

}  // namespace tolvander
