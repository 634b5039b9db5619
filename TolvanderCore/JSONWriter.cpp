#include "TolvanderCore/JSONWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "TolvanderCore/Precondition.h"
#include "TolvanderCore/UTF8.h"

namespace tolvander {

namespace {

// Large enough that the sink's own cost a call doesn't count, small enough to stay in a processor's cache.
constexpr std::size_t bufferSize = 256 * 1024;

constexpr std::uint64_t eachByte(std::uint8_t byte) { return 0x0101010101010101ULL * byte; }

// Nonzero where a byte of `word` is zero (and perhaps in a byte above one that is).
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
  return (word - eachByte(1)) & ~word & eachByte(0x80);
}

// Whether any of eight bytes is a control character, a quotation mark, a slash, a backslash, or no ASCII.
// Names and fingerprints are looked at eight bytes at a time because that is what a save spends its time on.
bool needsCare(std::uint64_t word) {
  const std::uint64_t controls = (word - eachByte(0x20)) & ~word & eachByte(0x80);
  return ((word & eachByte(0x80)) | controls | zeroBytes(word ^ eachByte('"')) |
          zeroBytes(word ^ eachByte('/')) | zeroBytes(word ^ eachByte('\\'))) != 0;
}

bool needsCare(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '/' || byte == '\\';
}

// How many bytes at the start of `text` can be copied as they are.
std::size_t plainPrefix(std::string_view text) {
  std::size_t length = 0;
  for (std::uint64_t word = 0; length + sizeof word <= text.size(); length += sizeof word) {
    std::memcpy(&word, text.data() + length, sizeof word);
    if (needsCare(word)) {
      break;
    }
  }
  while (length < text.size() && !needsCare(text[length])) {
    ++length;
  }
  return length;
}

void appendEscape(std::string& buffer, unsigned char character) {
  constexpr std::string_view digits = "0123456789abcdef";
  constexpr std::array shortForms = {std::pair{'\b', 'b'}, std::pair{'\f', 'f'}, std::pair{'\n', 'n'},
                                     std::pair{'\r', 'r'}, std::pair{'\t', 't'}, std::pair{'"', '"'},
                                     std::pair{'/', '/'},  std::pair{'\\', '\\'}};
  for (const auto& [plain, escaped] : shortForms) {
    if (character == plain) {
      buffer += '\\';
      buffer += escaped;
      return;
    }
  }
  buffer += "\\u00";
  buffer += digits[character / 16U];
  buffer += digits[character % 16U];
}

}  // namespace

JSONWriter::JSONWriter(Style style, Sink sink) : style_(style), sink_(std::move(sink)) {
  buffer_.reserve(bufferSize + bufferSize / 4);
}

void JSONWriter::beginObject() { begin('{', true); }
void JSONWriter::endObject() { end('}', true); }
void JSONWriter::beginArray() { begin('[', false); }
void JSONWriter::endArray() { end(']', false); }

void JSONWriter::key(std::string_view name) {
  precondition(!levels_.empty() && levels_.back().isObject && !expectsValueOfKey_,
               "a key stands in an object");
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
  sink_(std::as_bytes(std::span(buffer_)));
  buffer_.clear();
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
  if (style_ == Style::prettyPrinted) {
    append("\n");
    buffer_.append(2 * levels_.size(), ' ');
  }
}

void JSONWriter::append(std::string_view text) {
  buffer_ += text;
  if (buffer_.size() >= bufferSize) {
    sink_(std::as_bytes(std::span(buffer_)));
    buffer_.clear();
  }
}

void JSONWriter::appendQuoted(std::string_view text) {
  buffer_ += '"';
  appendEscaped(text);
  append("\"");
}

void JSONWriter::appendEscaped(std::string_view text) {
  while (true) {
    const std::size_t plain = plainPrefix(text);
    append(text.substr(0, plain));
    text.remove_prefix(plain);
    if (text.empty()) {
      return;
    }
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) {
      appendEscape(buffer_, first);
      text.remove_prefix(1);
      continue;
    }
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    append(sequence.isWellFormed ? text.substr(0, sequence.length) : std::string_view("\xEF\xBF\xBD"));
    text.remove_prefix(sequence.length);
  }
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
