#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// Operations on text for people. All arguments are UTF-8. Ill-formed sequences count as U+FFFD each; nothing
// is thrown. Every operation is safe on every thread.

// Compares as a file manager sorts: digits by the number that they form ("PICT2" before "PICT10"), letters by
// the rules of the user's locale (the root rules if the locale is "C" or "POSIX"). Case and accents decide
// only between texts that are otherwise equal. Different texts can be equivalent, such as two encodings of
// one accented letter; a stable sort keeps their order.
std::weak_ordering standardCompare(std::string_view left, std::string_view right);

// A key for sorting: comparing keys as std::string gives the order of standardCompare, and equivalent texts
// have equal keys. A key costs as much as a few comparisons; sorting a long list by keys takes a third of the
// time. Keys must not be stored: they depend on the locale and on the library's version.
std::string standardSortKey(std::string_view text);

// Whether the two are equal but for case, by Unicode's canonical caseless matching (The Unicode
// Standard, 3.13, D145), independent of the locale: "straße" equals "STRASSE", and a precomposed accented
// letter equals the letter followed by the accent. Letters with different accents are different.
bool equalIgnoringCase(std::string_view left, std::string_view right);

// Unicode's lower case without locale, so that "I" never becomes a dotless i.
std::string lowercased(std::string_view text);

// The text without white space and line ends (Unicode general category Z, U+0009 to U+000D, U+0085) at both
// ends. Bytes that are not UTF-8 are kept.
std::string_view trimmingWhitespaceAndNewlines(std::string_view text);

// A whole number with the digits, the sign and the thousands separators of the user's locale: "12,345". The
// root rules apply if the locale is "C" or "POSIX".
std::string numberText(std::int64_t number);

// The pattern of a RegularExpression can't be compiled.
class RegularExpressionError final : public Error {
 public:
  // `pattern` is what could not be compiled.
  explicit RegularExpressionError(std::string_view pattern);
  std::string_view domain() const override { return "TolvanderCore.RegularExpressionError"; }
  std::int64_t code() const override { return 0; }
};

// A compiled regular expression in the syntax of Unicode Technical Standard 18, level 1, inline flags such as
// (?i:…) included. Cheap to use many times. Not to be shared between threads.
class RegularExpression {
 public:
  // Throws RegularExpressionError.
  explicit RegularExpression(std::string_view pattern);
  ~RegularExpression();
  RegularExpression(RegularExpression&&) noexcept;
  RegularExpression& operator=(RegularExpression&&) noexcept;

  // Whether the pattern matches anywhere in `text`. "^" and "$" match at the ends of the text, and "$" also
  // before a line end at the end of the text. A search that exceeds the engine's limits on time or stack
  // finds nothing.
  bool hasMatch(std::string_view text);

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

}  // namespace tolvander
