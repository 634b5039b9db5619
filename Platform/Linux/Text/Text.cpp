#include "TolvanderCore/Platform/Text.h"

#include <unicode/coll.h>
#include <unicode/normlzr.h>
#include <unicode/numberformatter.h>
#include <unicode/regex.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "Platform/Linux/Text/UserLocale.h"
#include "TolvanderCore/Foundation/ASCII.h"
#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

namespace {

using platform::linux_::userLocale;

std::int32_t lengthOf(std::string_view text) {
  precondition(text.size() <= std::numeric_limits<std::int32_t>::max(), "a text is shorter than 2 GiB");
  return static_cast<std::int32_t>(text.size());
}

icu::StringPiece piece(std::string_view text) { return {text.data(), lengthOf(text)}; }

icu::UnicodeString utf16(std::string_view text) { return icu::UnicodeString::fromUTF8(piece(text)); }

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) { return (character & 0x80) == 0; });
}

// Null if ICU doesn't support the locale.
std::unique_ptr<icu::Collator> collatorFor(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
  if (U_SUCCESS(status)) {
    collator->setStrength(icu::Collator::TERTIARY);
    collator->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    // Without it, different encodings of a letter with several accents compare as different.
    collator->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
  }
  return U_SUCCESS(status) ? std::move(collator) : nullptr;
}

// For the user's locale, or for no particular language if ICU refuses that.
std::unique_ptr<icu::Collator> makeCollator() {
  auto collator = collatorFor(userLocale("LC_COLLATE"));
  if (!collator) {
    collator = collatorFor(icu::Locale::getRoot());
  }
  precondition(collator != nullptr, "ICU has its collation data");
  return collator;
}

// Creating a collator loads the rules of a locale, so it is done once; each thread has a copy that shares
// them.
const icu::Collator& collator() {
  static const std::unique_ptr<const icu::Collator> prototype = makeCollator();
  static thread_local const std::unique_ptr<const icu::Collator> copy(prototype->clone());
  return *copy;
}

const icu::UnicodeSet& whitespaceAndNewlines() {
  static const icu::UnicodeSet set = [] {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeSet characters(UNICODE_STRING_SIMPLE("[[:Z:]\\u0009-\\u000D\\u0085]"), status);
    precondition(U_SUCCESS(status), "the set of white space is well formed");
    characters.freeze();  // fast, and safe on every thread
    return characters;
  }();
  return set;
}

using NumberFormatter = icu::number::LocalizedNumberFormatter;

// The formatter reports missing data of a locale only with its first number.
std::optional<std::string> formatted(std::int64_t number, const NumberFormatter& formatter) {
  UErrorCode status = U_ZERO_ERROR;
  std::string text;
  formatter.formatInt(number, status).toString(status).toUTF8String(text);
  return U_SUCCESS(status) ? std::optional(std::move(text)) : std::nullopt;
}

// For the user's locale, or for no particular language, like the collator.
NumberFormatter makeNumberFormatter() {
  NumberFormatter formatter = icu::number::NumberFormatter::withLocale(userLocale("LC_NUMERIC"));
  return formatted(0, formatter) ? std::move(formatter)
                                 : icu::number::NumberFormatter::withLocale(icu::Locale::getRoot());
}

}  // namespace

std::weak_ordering standardCompare(std::string_view left, std::string_view right) {
  UErrorCode status = U_ZERO_ERROR;
  const UCollationResult result = collator().compareUTF8(piece(left), piece(right), status);
  precondition(U_SUCCESS(status), "any two texts can be compared");
  return result <=> 0;
}

std::string standardSortKey(std::string_view text) {
  const icu::UnicodeString characters = utf16(text);
  const auto writeKey = [&](std::string& key) {
    return static_cast<std::size_t>(collator().getSortKey(
        characters, reinterpret_cast<std::uint8_t*>(key.data()), static_cast<std::int32_t>(key.size())));
  };
  constexpr std::size_t enoughForMostPaths = 256;
  std::string key(enoughForMostPaths, '\0');
  std::size_t size = writeKey(key);
  if (size > key.size()) {
    key.resize(size);
    size = writeKey(key);
  }
  precondition(size > 0, "every text has a sort key");
  key.resize(size - 1);  // without the terminating NUL
  key.shrink_to_fit();
  return key;
}

// Nearly all file names are ASCII, which needs neither UTF-16 nor tables; the same in lowercased().
bool equalIgnoringCase(std::string_view left, std::string_view right) {
  if (isASCII(left) && isASCII(right)) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return lowercasedASCII(a) == lowercasedASCII(b); });
  }
  UErrorCode status = U_ZERO_ERROR;
  const int result = icu::Normalizer::compare(utf16(left), utf16(right),
                                              U_COMPARE_IGNORE_CASE | U_FOLD_CASE_DEFAULT, status);
  precondition(U_SUCCESS(status), "any two texts can be compared");
  return result == 0;
}

std::string lowercased(std::string_view text) {
  if (isASCII(text)) {
    return lowercasedASCII(text);
  }
  std::string lower;
  return utf16(text).toLower(icu::Locale::getRoot()).toUTF8String(lower);
}

std::string_view trimmingWhitespaceAndNewlines(std::string_view text) {
  const icu::UnicodeSet& set = whitespaceAndNewlines();
  const std::int32_t begin = set.spanUTF8(text.data(), lengthOf(text), USET_SPAN_SIMPLE);
  text.remove_prefix(static_cast<std::size_t>(begin));
  const std::int32_t end = set.spanBackUTF8(text.data(), lengthOf(text), USET_SPAN_SIMPLE);
  return text.substr(0, static_cast<std::size_t>(end));
}

std::string numberText(std::int64_t number) {
  static const NumberFormatter formatter = makeNumberFormatter();  // safe on every thread
  auto text = formatted(number, formatter);
  precondition(text.has_value(), "ICU has its number formats");
  return *std::move(text);
}

RegularExpressionError::RegularExpressionError(std::string_view pattern)
    : Error("not a regular expression: " + std::string(pattern)) {}

struct RegularExpression::Compiled {
  icu::UnicodeString subject;  // the matcher keeps a pointer to it
  std::unique_ptr<icu::RegexMatcher> matcher;
};

RegularExpression::RegularExpression(std::string_view pattern) : compiled_(std::make_unique<Compiled>()) {
  // Patterns come from files that users can edit, and some take exponential time. The longest file name
  // needs one step and some kilobytes with a reasonable pattern.
  constexpr std::int32_t timeLimit = 50;          // in steps of 10,000 states that the engine passes through
  constexpr std::int32_t stackLimit = 1'048'576;  // bytes

  UErrorCode status = U_ZERO_ERROR;
  compiled_->matcher = std::make_unique<icu::RegexMatcher>(utf16(pattern), 0, status);
  compiled_->matcher->setTimeLimit(timeLimit, status);
  compiled_->matcher->setStackLimit(stackLimit, status);
  if (U_FAILURE(status)) {
    throw RegularExpressionError(pattern);
  }
}

RegularExpression::~RegularExpression() = default;
RegularExpression::RegularExpression(RegularExpression&&) noexcept = default;
RegularExpression& RegularExpression::operator=(RegularExpression&&) noexcept = default;

bool RegularExpression::hasMatch(std::string_view text) {
  compiled_->subject = utf16(text);
  UErrorCode status = U_ZERO_ERROR;
  return compiled_->matcher->reset(compiled_->subject).find(status) && U_SUCCESS(status);
}

}  // namespace tolvander
