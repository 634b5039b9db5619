#include "TolvanderCore/Platform/Characters.h"

#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <memory>

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> characters(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  UText subject = UTEXT_INITIALIZER;
  utext_openUTF8(&subject, text.data(), static_cast<std::int64_t>(text.size()), &status);
  precondition(U_SUCCESS(status), "ICU has its rules for characters");
  characters->setText(&subject, status);
  std::int32_t end = 0;
  for (std::size_t passed = 0; passed < count && end != icu::BreakIterator::DONE; ++passed) {
    end = characters->next();
  }
  utext_close(&subject);
  precondition(U_SUCCESS(status), "any text has characters");
  return end == icu::BreakIterator::DONE ? text : text.substr(0, static_cast<std::size_t>(end));
}

}  // namespace tolvander
