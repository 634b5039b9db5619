#include "TolvanderCore/Counted.h"

#include <utility>

#include "TolvanderCore/Platform/Text.h"

namespace tolvander {

namespace {

std::string joined(std::string number, std::int64_t count, std::string_view singular,
                   std::string_view plural) {
  return std::move(number).append(" ").append(count == 1 ? singular : plural);
}

}  // namespace

std::string counted(std::int64_t count, std::string_view singular, std::string_view plural) {
  return joined(numberText(count), count, singular, plural);
}

std::string countedInDigits(std::int64_t count, std::string_view singular, std::string_view plural) {
  return joined(std::to_string(count), count, singular, plural);
}

}  // namespace tolvander
