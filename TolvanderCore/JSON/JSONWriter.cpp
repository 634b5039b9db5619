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

// Large enough that the sink's own cost a call doesn't count, small enough to stay in a processor's cache.
constexpr std::size_t bufferSize = 262'144;

constexpr std::uint64_t eachByte(std::uint8_t byte) { return 0x0101010101010101ULL * byte; }

// Nonzero where a byte of `word` is less than `limit`, which is at most 128 (and perhaps for a byte above
// such a one).
constexpr std::uint64_t bytesBelow(std::uint64_t word, std::uint8_t limit) {
  return (word - eachByte(limit)) & ~word & eachByte(0x80);
}

// Whether any of eight characters can't be copied as it is: a control character, a quotation mark, a slash, a
// backslash, or a byte of something that isn't ASCII. Eight at a time, because texts are what a save spends
// its time on.
bool needsCare(std::uint64_t word) {
  return ((word & eachByte(0x80)) | bytesBelow(word, 0x20) | bytesBelow(word ^ eachByte('"'), 1) |
          bytesBelow(word ^ eachByte('/'), 1) | bytesBelow(word ^ eachByte('\\'), 1)) != 0;
}

bool needsCare(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '/' || byte == '\\';
}

// How JSON spells a character of ASCII that needs care.
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

// The most bytes that one byte of text can become: \u00xx.
constexpr std::size_t longestEscape = 6;

char* put(char* out, std::string_view text) {
  std::memcpy(out, text.data(), text.size());
  return out + text.size();
}

// Writes the first character of `text`, which needs care, and takes it off.
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

// Copies a text and looks at it in the same pass. At `out` is room for its longest escape and a word more.
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

// Where the next bytes go, with room for so many. The buffer grows only for a text that is longer than it.
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
