#include "TolvanderCore/JSON/JSONReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <concepts>
#include <limits>
#include <system_error>
#include <utility>

#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Foundation/Base64.h"
#include "TolvanderCore/Foundation/ISO8601.h"

namespace tolvander {

namespace {

constexpr std::size_t maximumDepth = 512;

// Up to here every whole double is exactly the number that was written.
constexpr double largestExactDouble = 9'007'199'254'740'992.0;

// Of the text that is left, the number at its start (RFC 8259, section 6), with its parts.
struct NumberText {
  std::string_view whole;  // sign and digits before the point
  std::string_view exponentDigits;
  bool isInteger = true;
  std::size_t length = 0;  // 0 where no well-formed number stands
};

std::size_t digitsAt(std::string_view text, std::size_t position) {
  const std::size_t end = text.find_first_not_of("0123456789", position);
  return std::min(end, text.size()) - std::min(position, text.size());
}

NumberText numberAtStart(std::string_view text) {
  NumberText number;
  std::size_t end = text.starts_with('-') ? 1 : 0;
  const std::size_t wholeDigits = digitsAt(text, end);
  if (wholeDigits == 0 || (wholeDigits > 1 && text[end] == '0')) {
    return {};
  }
  end += wholeDigits;
  number.whole = text.substr(0, end);
  if (const std::size_t digits = digitsAt(text, end + 1); text.substr(end, 1) == "." && digits > 0) {
    end += 1 + digits;
    number.isInteger = false;
  }
  if (text.substr(end, 1) == "e" || text.substr(end, 1) == "E") {
    const std::size_t sign = text.substr(end + 1, 1) == "+" || text.substr(end + 1, 1) == "-" ? 1 : 0;
    number.exponentDigits = text.substr(std::min(end + 1 + sign, text.size()));
    number.exponentDigits = number.exponentDigits.substr(0, digitsAt(number.exponentDigits, 0));
    number.isInteger = false;
    end += 1 + sign + number.exponentDigits.size();
  }
  number.length = end;
  return number;
}

template <typename Integer>
bool fits(std::string_view digits) {
  Integer value = 0;
  return std::from_chars(digits.data(), digits.data() + digits.size(), value).ec == std::errc();
}

// Whether no 64-bit number comes near the one that stands there.
bool isHuge(const NumberText& number) {
  constexpr std::size_t mostDigits = 300;  // of a double before the point, about
  constexpr std::size_t exponentDigits = 3;
  if (number.isInteger) {
    return !fits<std::int64_t>(number.whole) && !fits<std::uint64_t>(number.whole);
  }
  return number.whole.size() > mostDigits ||
         number.exponentDigits.size() -
                 std::min(number.exponentDigits.find_first_not_of('0'), number.exponentDigits.size()) >=
             exponentDigits;
}

std::size_t stringLengthAtStart(std::string_view text) {
  std::size_t end = 1;
  while (end < text.size() && text[end] != '"') {
    end += text[end] == '\\' ? 2 : 1;
  }
  return std::min(end + 1, text.size());
}

// Puts 1e308 in the same length in the place of every huge number, since the library gives a whole document
// up for one of them. No key wants so large a number any more than it wants the larger one.
void replaceHugeNumbers(std::span<char> text) {
  constexpr std::string_view mantissa = "1e";
  constexpr std::string_view exponent = "308";  // of the largest double; a huge number is at least as long
  std::string_view rest(text.data(), text.size());
  while (!rest.empty()) {
    std::size_t length = 1;
    if (rest.front() == '"') {
      length = stringLengthAtStart(rest);
    } else if (const NumberText number = numberAtStart(rest); number.length > 0) {
      length = number.length;
      if (isHuge(number)) {
        const std::span<char> place = text.last(rest.size()).first(length);
        std::ranges::fill(place, '0');
        std::ranges::copy(mantissa, place.begin());
        std::ranges::copy(exponent, place.last(exponent.size()).begin());
      }
    }
    rest.remove_prefix(length);
  }
}

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

double JSONValue::number() const {
  double value = 0;
  if (element_.get(value) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not a number");
  }
  return value;
}

Date JSONValue::iso8601Date() const {
  const auto date = nearestDateFromISO8601(string());
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
  const std::size_t size = reader.size();
  if (size > simdjson::SIMDJSON_MAXSIZE_BYTES) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "larger than any document of ours");
  }
  simdjson::padded_string text(size);
  if (reader.read(std::as_writable_bytes(std::span(text.data(), size))) != size) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "the file became shorter while it was read");
  }
  parse(std::move(text));
}

void JSONDocument::parse(simdjson::padded_string text) {
  if (parser_.allocate(std::max<std::size_t>(text.size(), 1), maximumDepth) != simdjson::SUCCESS) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "too large to be read");
  }
  // Newer versions of simdjson pass over a byte order mark.
  if (std::string_view(text).starts_with("\xEF\xBB\xBF")) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "a byte order mark");
  }
  simdjson::error_code failure = parser_.parse(text).get(root_);
  // Which error a huge number is differs among the versions of simdjson.
  if (failure != simdjson::SUCCESS) {
    replaceHugeNumbers({text.data(), text.size()});
    failure = parser_.parse(text).get(root_);
  }
  if (failure != simdjson::SUCCESS) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "", "not JSON");
  }
}

}  // namespace tolvander
