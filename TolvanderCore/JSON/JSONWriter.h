#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {

// Writes one JSON document (RFC 8259) piece by piece through a buffer of fixed size.
//
// The caller writes each key of an object once, in the order in which the keys are to be, and ends every
// object and array that it begins. Any other order of calls is a programming error. Slashes are escaped as
// "\/", control characters as \b, \f, \n, \r, \t or \u00xx in lower case; all other characters are written as
// UTF-8. Each ill-formed sequence of bytes is written as U+FFFD, so that a file name in another encoding
// doesn't make the document unreadable.
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

  // Receives the document's bytes in order. Its exceptions pass through the writer's operations.
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

  // Passes the remaining bytes to the sink. To be called once, when the document is complete. Adds no line
  // end.
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
