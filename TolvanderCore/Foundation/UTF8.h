#pragma once

#include <cstddef>
#include <string_view>

namespace tolvander {

// One code point's bytes at the start of a text, or as many bytes as no code point can begin with.
struct UTF8Sequence {
  std::size_t length = 0;  // at least 1
  bool isWellFormed = false;
};

// By the table of well-formed byte sequences of the Unicode Standard (3.9, table 3-7); an ill-formed sequence
// is as long as the longest beginning of a well-formed one. `text` must not be empty.
UTF8Sequence firstUTF8Sequence(std::string_view text);

}  // namespace tolvander
