#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Numbers with what they count, the same in all texts for the user.
namespace tolvander {

// "1 file", "1,234 files": the number as the user's locale writes it (see numberText).
std::string counted(std::int64_t count, std::string_view singular, std::string_view plural);

// "1 file", "1234 files": digits only, for the sentences of messages whose form allows no separators.
std::string countedInDigits(std::int64_t count, std::string_view singular, std::string_view plural);

}  // namespace tolvander
