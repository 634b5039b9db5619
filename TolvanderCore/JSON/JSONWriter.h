#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {

// Writes one JSON document (RFC 8259) piece by piece, in memory of one buffer whatever its size.
//
// The caller puts object keys in their order, once each, and closes what it opens; a wrong call order is a
// programming error. Slashes are escaped as "\/", control characters as \b, \f, \n, \r, \t or \u00xx in lower
// case; everything else is written as UTF-8. Bytes that are no UTF-8 come out as U+FFFD, each ill-formed
// sequence one: a file name in some old encoding must not make the whole document unreadable.
class JSONWriter {
 public:
  enum class Style {
    // Two spaces a level, " : " between key and value, and an empty line in an empty object or array:
    //   {
    //     "list" : [
    //
    //     ]
    //   }
    prettyPrinted,
    compact,  // no white space at all
  };

  // Takes the document's bytes, in order. What it throws passes through the writer's operations.
  using Sink = std::function<void(std::span<const std::byte>)>;

  JSONWriter(Style style, Sink sink);

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  void key(std::string_view name);
  void string(std::string_view text);
  void integer(std::int64_t number);
  void unsignedInteger(std::uint64_t number);
  void number(double value);  // finite; in as few digits as it takes to read the same value back
  void boolean(bool value);
  void null();

  // A key and its value.
  void string(std::string_view name, std::string_view text);
  void integer(std::string_view name, std::int64_t number);
  void number(std::string_view name, double value);
  void boolean(std::string_view name, bool value);

  // Hands the rest to the sink. To be called once, when the document is complete. No line end is added.
  void finish();

 private:
  struct Level {
    bool isObject;
    bool isEmpty;
  };

  void begin(char bracket, bool isObject);
  void end(char bracket, bool isObject);
  void beforeValue();
  void startItem();
  void breakLine();
  void append(std::string_view text);
  char* room(std::size_t size);
  void flush();
  void appendQuoted(std::string_view text);

  Style style_;
  Sink sink_;
  std::vector<char> buffer_;
  std::size_t used_ = 0;
  std::vector<Level> levels_;
  bool expectsValueOfKey_ = false;
};

// A whole document as text.
std::string jsonText(JSONWriter::Style style, const std::function<void(JSONWriter&)>& write);

}  // namespace tolvander
