#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "TolvanderCore/Video/AVIHeaders.h"

namespace tolvander {

// Private to AVIReading: reads the chunks of an AVI in sequence, without its index.

// The chunks of one stream in their order, by one source of information: the sequence of chunks or the index.
struct AVIAccount {
  std::vector<AVIChunk> chunks;  // with data
  std::uint32_t slots = 0;       // the number of chunks, with and without data, and of repeats
  std::uint32_t repeats = 0;

  // Adds a chunk. One without data lengthens the chunk before it, or, at the start, the first chunk.
  void add(std::uint64_t dataOffset, std::uint32_t size);

  // Shows the last chunk with data for one more slot.
  void repeat();
};

struct AVIWalk {
  enum class State {
    whole,  // all bytes of the data lists belong to chunks
    cut,    // likewise, but chunks may be missing at the end
    lost,   // there are bytes that are no chunk
  };
  struct OldIndex {
    std::uint64_t offset = 0;  // of the content of `idx1`
    std::uint32_t size = 0;    // by its header; may exceed the file
  };

  State state = State::whole;
  std::vector<AVIAccount> streams;  // one for each stream of the headers
  std::optional<OldIndex> oldIndex;
  bool hasUnknownChunks = false;  // among the data; they may be damaged chunks
};

// Reads every `LIST movi` of the file. Throws MovieError::unreadable if chunks contradict the headers, and if
// there are too many.
AVIWalk walkAVI(AVIBytes& bytes, const AVIHeaders& headers, const FileURL& url,
                const CancellationToken& token);

}  // namespace tolvander
