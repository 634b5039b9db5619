#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander {

// Calls `use` with one piece of `bytes` after the other. A piece has at most 1 MiB, which takes a few
// milliseconds to hash or copy. Throws CancellationError, checked before each piece, and what `use` throws.
template <typename Use>
void forEachPiece(std::span<const std::byte> bytes, const CancellationToken& token, Use use) {
  constexpr std::size_t pieceSize = 1'048'576;
  while (!bytes.empty()) {
    token.throwIfCancelled();
    const std::size_t size = std::min(bytes.size(), pieceSize);
    use(bytes.first(size));
    bytes = bytes.subspan(size);
  }
}

}  // namespace tolvander
