#pragma once

#include <compare>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// Text as people read it. All arguments are UTF-8; where bytes are no UTF-8, each ill-formed sequence counts
// as U+FFFD and nothing is thrown. Every operation is safe on every thread.

// The order of a file manager: digits by the number they make ("PICT2" before "PICT10"), letters by the rules
// of the user's locale (the root rules where the locale is "C" or "POSIX"), first without regard to case and
// accents, which decide between texts that are otherwise equal. Different texts can compare as equivalent,
// such as two spellings of one accented letter; a caller who minds keeps the earlier order by sorting stably.
std::weak_ordering standardCompare(std::string_view left, std::string_view right);

// Bytes whose plain order (that of std::string, shorter before longer) is the order of standardCompare; texts
// that compare as equivalent have the same key. Making one costs a few comparisons, so sorting a long list by
// keys takes a third of the time. Keys are for the running process: another locale or release makes others.
std::string standardSortKey(std::string_view text);

// Whether the two differ in case alone, by Unicode's canonical caseless matching without locale (The Unicode
// Standard, 3.13, D145): "straße" equals "STRASSE", and an accented letter equals its letter and accent.
// Accents count.
bool equalIgnoringCase(std::string_view left, std::string_view right);

// Unicode's lower case without locale, so that "I" never becomes a dotless i.
std::string lowercased(std::string_view text);

// Without white space and line ends (Unicode general category Z, U+0009 to U+000D, U+0085) at both ends.
// Bytes that are no UTF-8 are kept.
std::string_view trimmingWhitespaceAndNewlines(std::string_view text);

// A whole number as the user writes it: with the digits, the sign and the separators between thousands of the
// user's locale ("12,345"; the root rules where the locale is "C" or "POSIX").
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

  // Whether a match stands anywhere in `text`. "^" and "$" are the ends of the text, "$" also the place
  // before a line end that closes it. A search that exceeds the engine's bounds on time or stack has found
  // nothing.
  bool hasMatch(std::string_view text);

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

}  // namespace tolvander
