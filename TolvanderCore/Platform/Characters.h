#pragma once

#include <cstddef>
#include <string_view>

namespace tolvander {

// The beginning of `text`, which is UTF-8, with at most `count` characters as a reader counts them: a letter
// with its accents, or an emoji of several code points, is one (extended grapheme clusters, Unicode Standard
// Annex 29). The whole text if it has no more. A view into `text`; ill-formed bytes are kept. Throws nothing,
// and is safe on every thread.
std::string_view firstCharacters(std::string_view text, std::size_t count);

}  // namespace tolvander
