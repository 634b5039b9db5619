#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
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

// Reads JSON (RFC 8259) into the system's values. A wrong type, a missing key, and anything that two readers
// could take differently fail with DecodingError: a record that is silently dropped would be imported again.
//
// - The text is UTF-8 without a byte order mark, at most 4 GiB long and nested at most 512 levels deep. Text
//   after the value, or a lone surrogate, makes the whole document unreadable.
// - A key that an object has twice fails when it is asked for. Keys that are never asked for are ignored.
// - An integer may be written with a fraction or an exponent (5.0, 1e3) if it is whole and at most 2^53. A
//   number too large for 64 bits fails when it is asked for, like any value of another type.
// - null for an optional key counts as absent.
//
// Values and objects are positions in their document: cheap to copy, and valid while the document exists.

// A position in a parsed document, in the form of the library that parsed it, which only JSONReader.cpp
// knows.
struct JSONPosition {
  const void* document = nullptr;
  std::size_t index = 0;
};

class JSONObject;

// One value of a document. Each of the operations that read it throws DecodingError where the value is
// another one.
class JSONValue {
 public:
  // `key` is for error messages; it must be valid as long as the document.
  JSONValue(JSONPosition position, std::string_view key) : position_(position), key_(key) {}

  JSONObject object() const;
  std::vector<JSONValue> array() const;
  std::string string() const;
  std::int64_t integer() const;
  std::uint64_t unsignedInteger() const;
  bool boolean() const;

  // Any number, rounded to the nearest double.
  double number() const;

  // Text of the form of ISO8601.h. A date beyond the range of Date gives the nearest one within.
  Date iso8601Date() const;

  UUID uuid() const;
  std::vector<std::byte> base64Bytes() const;

  bool isNull() const;
  bool isBoolean() const;
  bool isString() const;

 private:
  template <typename Integer>
  Integer wholeNumber() const;
  [[noreturn]] void fail(DecodingError::Case kind, std::string_view debugDescription) const;

  JSONPosition position_;
  std::string_view key_;
};

class JSONObject {
 public:
  explicit JSONObject(JSONPosition position) : position_(position) {}

  // The value of a key. Throws DecodingError without one, and where the object has the key twice.
  JSONValue required(std::string_view key) const;

  // The same for a key that may be missing or null, both of which give absent.
  std::optional<JSONValue> optional(std::string_view key) const;
  std::optional<std::string> optionalString(std::string_view key) const;
  std::optional<std::int64_t> optionalInteger(std::string_view key) const;

  // Calls `visit` with each key and value, in the document's order.
  void forEach(const std::function<void(std::string_view key, const JSONValue& value)>& visit) const;

  // How many keys there are.
  std::size_t size() const;

 private:
  std::optional<JSONValue> find(std::string_view key) const;

  JSONPosition position_;
};

// A whole document, parsed on construction, which throws DecodingError.
class JSONDocument {
 public:
  explicit JSONDocument(std::span<const std::byte> bytes);

  // Reads a file. Throws PosixError as well.
  explicit JSONDocument(const FileURL& file);

  ~JSONDocument();
  JSONDocument(JSONDocument&&) noexcept;
  JSONDocument& operator=(JSONDocument&&) noexcept;

  JSONValue root() const;

 private:
  struct Parsed;

  std::unique_ptr<Parsed> parsed_;
};

}  // namespace tolvander
