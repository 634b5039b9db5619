#include "TolvanderCore/JSON/JSONReader.h"

#include <simdjson.h>

#include <algorithm>
#include <bit>
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

// The number at the start of a text, with its parts (RFC 8259, section 6).
struct NumberText {
  std::string_view whole;  // sign and digits before the point
  std::string_view exponentDigits;
  bool isInteger = true;
  std::size_t length = 0;  // 0 without a well-formed number
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

// Whether the number is far beyond the range of every 64-bit number.
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

// Overwrites every huge number with 1e308, padded to the same length: simdjson refuses a whole document for
// one huge number, even under a key that is never read. No key of this system takes so large a number, so
// either of the two is refused where it is read.
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

// The positions of simdjson are a pointer and an index too. bit_cast compiles only while they are as large
// and can be copied bytewise.
simdjson::dom::element elementAt(JSONPosition position) {
  return std::bit_cast<simdjson::dom::element>(position);
}

simdjson::dom::object objectAt(JSONPosition position) {
  return std::bit_cast<simdjson::dom::object>(position);
}

template <typename Element>
JSONPosition positionOf(const Element& element) {
  return std::bit_cast<JSONPosition>(element);
}

[[noreturn]] void failAtTop(std::string_view debugDescription) {
  throw DecodingError(DecodingError::Case::dataCorrupted, "", debugDescription);
}

}  // namespace

void JSONValue::fail(DecodingError::Case kind, std::string_view debugDescription) const {
  throw DecodingError(kind, key_, debugDescription);
}

JSONObject JSONValue::object() const {
  simdjson::dom::object object;
  if (elementAt(position_).get(object) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not an object");
  }
  return JSONObject(positionOf(object));
}

std::vector<JSONValue> JSONValue::array() const {
  simdjson::dom::array array;
  if (elementAt(position_).get(array) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not an array");
  }
  std::vector<JSONValue> values;
  for (const auto element : array) {
    values.emplace_back(positionOf(element), key_);
  }
  return values;
}

std::string JSONValue::string() const {
  std::string_view text;
  if (elementAt(position_).get(text) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not a string");
  }
  return std::string(text);
}

template <typename Integer>
Integer JSONValue::wholeNumber() const {
  const simdjson::dom::element element = elementAt(position_);
  Integer number = 0;
  const bool hasFractionOrExponent = element.type() == simdjson::dom::element_type::DOUBLE;
  if (!hasFractionOrExponent && element.get(number) == simdjson::SUCCESS) {
    return number;
  }
  double real = 0;
  if (!hasFractionOrExponent || element.get(real) != simdjson::SUCCESS) {
    fail(element.is_number() ? DecodingError::Case::dataCorrupted : DecodingError::Case::typeMismatch,
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
  if (elementAt(position_).get(value) != simdjson::SUCCESS) {
    fail(DecodingError::Case::typeMismatch, "not a boolean");
  }
  return value;
}

double JSONValue::number() const {
  double value = 0;
  if (elementAt(position_).get(value) != simdjson::SUCCESS) {
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

bool JSONValue::isNull() const { return elementAt(position_).is_null(); }

bool JSONValue::isBoolean() const { return elementAt(position_).is_bool(); }

bool JSONValue::isString() const { return elementAt(position_).is_string(); }

void JSONObject::forEach(
    const std::function<void(std::string_view key, const JSONValue& value)>& visit) const {
  for (const auto field : objectAt(position_)) {
    visit(field.key, JSONValue(positionOf(field.value), field.key));
  }
}

std::size_t JSONObject::size() const { return objectAt(position_).size(); }

std::optional<JSONValue> JSONObject::find(std::string_view key) const {
  std::optional<JSONValue> found;
  for (const auto field : objectAt(position_)) {
    if (field.key != key) {
      continue;
    }
    if (found) {
      throw DecodingError(DecodingError::Case::dataCorrupted, key, "the object has the key twice");
    }
    found.emplace(positionOf(field.value), field.key);
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

struct JSONDocument::Parsed {
  simdjson::dom::parser parser;
  simdjson::dom::element root;

  explicit Parsed(simdjson::padded_string text) {
    if (parser.allocate(std::max<std::size_t>(text.size(), 1), maximumDepth) != simdjson::SUCCESS) {
      failAtTop("too large to be read");
    }
    // Newer versions of simdjson pass over a byte order mark.
    if (std::string_view(text).starts_with("\xEF\xBB\xBF")) {
      failAtTop("a byte order mark");
    }
    simdjson::error_code failure = parser.parse(text).get(root);
    // Which error a huge number is differs among the versions of simdjson.
    if (failure != simdjson::SUCCESS) {
      replaceHugeNumbers({text.data(), text.size()});
      failure = parser.parse(text).get(root);
    }
    if (failure != simdjson::SUCCESS) {
      failAtTop("not JSON");
    }
  }
};

JSONDocument::JSONDocument(std::span<const std::byte> bytes)
    : parsed_(std::make_unique<Parsed>(
          simdjson::padded_string(reinterpret_cast<const char*>(bytes.data()), bytes.size()))) {}

JSONDocument::JSONDocument(const FileURL& file) {
  FileReader reader(file);
  const std::size_t size = reader.size();
  if (size > simdjson::SIMDJSON_MAXSIZE_BYTES) {
    failAtTop("larger than any document of ours");
  }
  simdjson::padded_string text(size);
  if (reader.read(std::as_writable_bytes(std::span(text.data(), size))) != size) {
    failAtTop("the file became shorter while it was read");
  }
  parsed_ = std::make_unique<Parsed>(std::move(text));
}

JSONDocument::~JSONDocument() = default;
JSONDocument::JSONDocument(JSONDocument&&) noexcept = default;
JSONDocument& JSONDocument::operator=(JSONDocument&&) noexcept = default;

JSONValue JSONDocument::root() const { return {positionOf(parsed_->root), ""}; }

}  // namespace tolvander
