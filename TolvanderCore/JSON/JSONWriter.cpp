#include "TolvanderCore/JSON/JSONWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Foundation/UTF8.h"

namespace tolvander {

namespace {

// Large enough to make the cost of a sink's call negligible, small enough for a processor's cache.
constexpr std::size_t bufferSize = 262'144;

constexpr std::uint64_t eachByte(std::uint8_t byte) { return 0x0101010101010101ULL * byte; }

// Nonzero in each byte of `word` that is less than `limit` (at most 128). May also be nonzero in the byte
// above such a one.
constexpr std::uint64_t bytesBelow(std::uint64_t word, std::uint8_t limit) {
  return (word - eachByte(limit)) & ~word & eachByte(0x80);
}

// Whether any of eight characters has to be escaped or checked: control characters, quotation marks, slashes,
// backslashes, and bytes that are not ASCII. Checks eight at a time, because writing texts takes most of a
// save's time.
bool needsCare(std::uint64_t word) {
  return ((word & eachByte(0x80)) | bytesBelow(word, 0x20) | bytesBelow(word ^ eachByte('"'), 1) |
          bytesBelow(word ^ eachByte('/'), 1) | bytesBelow(word ^ eachByte('\\'), 1)) != 0;
}

bool needsCare(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '/' || byte == '\\';
}

// The escape sequence of an ASCII character (RFC 8259, section 7).
std::string escaped(unsigned char character) {
  constexpr std::string_view digits = "0123456789abcdef";
  constexpr std::array shortForms = {std::pair{'\b', 'b'}, std::pair{'\f', 'f'}, std::pair{'\n', 'n'},
                                     std::pair{'\r', 'r'}, std::pair{'\t', 't'}, std::pair{'"', '"'},
                                     std::pair{'/', '/'},  std::pair{'\\', '\\'}};
  for (const auto& [plain, letter] : shortForms) {
    if (static_cast<char>(character) == plain) {
      return {'\\', letter};
    }
  }
  return {'\\', 'u', '0', '0', digits[character / 16U], digits[character % 16U]};
}

// The length of the longest escape sequence of a byte: \u00xx.
constexpr std::size_t longestEscape = 6;

char* put(char* out, std::string_view text) {
  std::memcpy(out, text.data(), text.size());
  return out + text.size();
}

// Writes the first character of `text`, which has to be escaped or checked, and removes it from `text`.
char* putWithCare(char* out, std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  const UTF8Sequence sequence = firstUTF8Sequence(text);
  if (first < 0x80) {
    out = put(out, escaped(first));
  } else {
    out =
        put(out, sequence.isWellFormed ? text.substr(0, sequence.length) : std::string_view("\xEF\xBF\xBD"));
  }
  text.remove_prefix(sequence.length);
  return out;
}

// Copies and checks a text in one pass. `out` has room for the longest escape of each byte and one more word.
char* putEscaped(char* out, std::string_view text) {
  while (!text.empty()) {
    std::uint64_t word = 0;
    if (text.size() >= sizeof word) {
      std::memcpy(&word, text.data(), sizeof word);
      std::memcpy(out, &word, sizeof word);
      if (!needsCare(word)) {
        out += sizeof word;
        text.remove_prefix(sizeof word);
        continue;
      }
    }
    if (needsCare(text.front())) {
      out = putWithCare(out, text);
    } else {
      *out++ = text.front();
      text.remove_prefix(1);
    }
  }
  return out;
}

}  // namespace

JSONWriter::JSONWriter(Style style, Sink sink) : style_(style), sink_(std::move(sink)), buffer_(bufferSize) {}

void JSONWriter::beginObject() { begin('{', true); }
void JSONWriter::endObject() { end('}', true); }
void JSONWriter::beginArray() { begin('[', false); }
void JSONWriter::endArray() { end(']', false); }

void JSONWriter::key(std::string_view name) {
  precondition(!levels_.empty() && levels_.back().isObject && !expectsValueOfKey_,
               "a key belongs to an object");
  startItem();
  appendQuoted(name);
  append(style_ == Style::prettyPrinted ? " : " : ":");
  expectsValueOfKey_ = true;
}

void JSONWriter::string(std::string_view text) {
  beforeValue();
  appendQuoted(text);
}

void JSONWriter::integer(std::int64_t number) {
  beforeValue();
  std::array<char, 24> text{};
  append({text.data(), std::to_chars(text.begin(), text.end(), number).ptr});
}

void JSONWriter::unsignedInteger(std::uint64_t number) {
  beforeValue();
  std::array<char, 24> text{};
  append({text.data(), std::to_chars(text.begin(), text.end(), number).ptr});
}

void JSONWriter::number(double value) {
  precondition(std::isfinite(value), "JSON has finite numbers only");
  beforeValue();
  std::array<char, 32> text{};
  append({text.data(), std::to_chars(text.begin(), text.end(), value).ptr});
}

void JSONWriter::boolean(bool value) {
  beforeValue();
  append(value ? "true" : "false");
}

void JSONWriter::null() {
  beforeValue();
  append("null");
}

void JSONWriter::string(std::string_view name, std::string_view text) {
  key(name);
  string(text);
}

void JSONWriter::integer(std::string_view name, std::int64_t number) {
  key(name);
  integer(number);
}

void JSONWriter::number(std::string_view name, double value) {
  key(name);
  number(value);
}

void JSONWriter::boolean(std::string_view name, bool value) {
  key(name);
  boolean(value);
}

void JSONWriter::finish() {
  precondition(levels_.empty() && !expectsValueOfKey_, "a JSON document is closed before it is finished");
  flush();
}

void JSONWriter::begin(char bracket, bool isObject) {
  beforeValue();
  append({&bracket, 1});
  levels_.push_back({.isObject = isObject, .isEmpty = true});
}

void JSONWriter::end(char bracket, bool isObject) {
  precondition(!levels_.empty() && levels_.back().isObject == isObject && !expectsValueOfKey_,
               "what is closed is what was opened last");
  if (levels_.back().isEmpty && style_ == Style::prettyPrinted) {
    append("\n");
  }
  levels_.pop_back();
  breakLine();
  append({&bracket, 1});
}

void JSONWriter::beforeValue() {
  if (expectsValueOfKey_) {
    expectsValueOfKey_ = false;
  } else if (!levels_.empty()) {
    precondition(!levels_.back().isObject, "a value in an object has a key");
    startItem();
  }
}

void JSONWriter::startItem() {
  if (!levels_.back().isEmpty) {
    append(",");
  }
  levels_.back().isEmpty = false;
  breakLine();
}

void JSONWriter::breakLine() {
  if (style_ == Style::compact) {
    return;
  }
  const std::size_t indentation = 2 * levels_.size();
  char* out = room(1 + indentation);
  *out++ = '\n';
  used_ += 1 + indentation;
  std::memset(out, ' ', indentation);
}

void JSONWriter::append(std::string_view text) {
  put(room(text.size()), text);
  used_ += text.size();
}

void JSONWriter::appendQuoted(std::string_view text) {
  char* const begin = room(longestEscape * text.size() + sizeof(std::uint64_t) + 2);
  char* out = begin;
  *out++ = '"';
  out = putEscaped(out, text);
  *out++ = '"';
  used_ += static_cast<std::size_t>(out - begin);
}

// The position of the next bytes, with room for `size` of them. The buffer grows only for a text that is
// longer than it.
char* JSONWriter::room(std::size_t size) {
  if (buffer_.size() - used_ < size) {
    flush();
    buffer_.resize(std::max(buffer_.size(), size));
  }
  return buffer_.data() + used_;
}

void JSONWriter::flush() {
  sink_(std::as_bytes(std::span(buffer_).first(used_)));
  used_ = 0;
}

std::string jsonText(JSONWriter::Style style, const std::function<void(JSONWriter&)>& write) {
  std::string text;
  JSONWriter writer(style, [&text](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  write(writer);
  writer.finish();
  return text;
}

}  // namespace tolvander
