#pragma once

#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/JSON/DecodingError.h"

namespace tolvander {

// Reads JSON (RFC 8259) into the system's values, strictly: a wrong type, a missing key, or anything that two
// readers could take differently fails with DecodingError, since a record that is silently dropped would be
// imported again.
//  - The text is UTF-8 without a byte order mark, at most 4 GiB, nested at most 512 levels deep. Text after
//  the
//    value and a lone surrogate make the whole document unreadable.
//  - A key that an object has twice fails where it is asked for. Keys that nobody asks for are ignored.
//  - An integer may be spelt with a fraction or an exponent (5.0, 1e3) if it is whole and at most 2^53. A
//  number that
//    no 64-bit number can hold fails where it is asked for, like any other that isn't what the key needs.
//  - null for an optional key counts as absent.

class JSONObject;

// One value of a document; valid while the document lives.
class JSONValue {
 public:
  JSONValue(simdjson::dom::element element, std::string_view key) : element_(element), key_(key) {}

  JSONObject object() const;
  std::vector<JSONValue> array() const;
  std::string string() const;
  std::int64_t integer() const;
  std::uint64_t unsignedInteger() const;
  bool boolean() const;
  double number() const;     // the nearest to what is written; a whole number up to 64 bits wide is one too
  Date iso8601Date() const;  // the form of ISO8601.h; the nearest date that a Date can reach
  UUID uuid() const;
  std::vector<std::byte> base64Bytes() const;

  bool isNull() const { return element_.is_null(); }
  bool isBoolean() const { return element_.is_bool(); }
  bool isString() const { return element_.is_string(); }

 private:
  template <typename Integer>
  Integer wholeNumber() const;
  [[noreturn]] void fail(DecodingError::Case kind, std::string_view debugDescription) const;

  simdjson::dom::element element_;
  std::string_view key_;  // for error messages
};

class JSONObject {
 public:
  explicit JSONObject(simdjson::dom::object object) : object_(object) {}

  // The value of a key that has to be there.
  JSONValue required(std::string_view key) const;

  // The value of a key that may be missing or null, both of which give absent.
  std::optional<JSONValue> optional(std::string_view key) const;
  std::optional<std::string> optionalString(std::string_view key) const;
  std::optional<std::int64_t> optionalInteger(std::string_view key) const;

  // Calls `visit` with each key and value, in the document's order.
  template <typename Visit>
  void forEach(Visit visit) const {
    for (const auto field : object_) {
      visit(field.key, JSONValue(field.value, field.key));
    }
  }

  std::size_t size() const { return object_.size(); }

 private:
  std::optional<JSONValue> find(std::string_view key) const;

  simdjson::dom::object object_;
};

// A whole document, parsed on construction, which throws DecodingError.
class JSONDocument {
 public:
  explicit JSONDocument(std::span<const std::byte> bytes);

  // Reads a file. Throws PosixError as well.
  explicit JSONDocument(const FileURL& file);

  JSONValue root() const { return {root_, ""}; }

 private:
  void parse(simdjson::padded_string text);

  simdjson::dom::parser parser_;
  simdjson::dom::element root_;
};

}  // namespace tolvander
