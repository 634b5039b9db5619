#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "TolvanderCore/Video/AVIHeaders.h"

namespace tolvander {

// Private to AVIReading: what the chunk headers of an AVI say when one goes from each to the next.

// The chunks of one stream in their order, by one account of the file.
struct AVIAccount {
  std::vector<AVIChunk> chunks;  // with data
  std::uint32_t slots = 0;       // chunks with and without data, and repeats
  std::uint32_t repeats = 0;

  // A chunk without data lengthens the one before it, and one at the start the first.
  void add(std::uint64_t dataOffset, std::uint32_t size);

  // The last chunk with data, shown once more.
  void repeat();
};

struct AVIWalk {
  enum class State {
    whole,  // every byte of the data lists is accounted for
    cut,    // so, but something may be missing at the end
    lost,   // it met something that is no chunk
  };
  struct OldIndex {
    std::uint64_t offset = 0;  // of the content of `idx1`
    std::uint32_t size = 0;    // as it claims; may go beyond the end of the file
  };

  State state = State::whole;
  std::vector<AVIAccount> streams;  // one for each stream of the headers
  std::optional<OldIndex> oldIndex;
  bool hasUnknownChunks = false;  // among the data, which damaged chunks may be
};

// Goes through every `LIST movi` of the file. Throws MovieError::unreadable where chunks contradict the
// headers, and where there are too many.
AVIWalk walkAVI(AVIBytes& bytes, const AVIHeaders& headers, const FileURL& url,
                const CancellationToken& token);

}  // namespace tolvander
