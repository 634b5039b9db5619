#pragma once

#include <optional>
#include <vector>

#include "Platform/Linux/Movies/AVIBytes.h"
#include "Platform/Linux/Movies/AVIChunks.h"
#include "Platform/Linux/Movies/AVIHeaders.h"

namespace tolvander::platform::linux_ {

// What the way from chunk header to chunk header finds in the lists of samples.
struct AVIWalk {
  enum class State {
    whole,
    cut,   // every chunk is whole, but the list declares another end: something may be missing
    lost,  // a place without a chunk header, or a chunk beyond the end of the file; the chunks say nothing
  };

  State state = State::whole;
  bool hasUnknownChunks = false;           // stepped over among the samples; could be damaged samples
  std::vector<AVIStreamChunks> streams;    // as many as the header has
  std::optional<AVIChunkHeader> oldIndex;  // idx1 behind the first list
};

// Walks through all RIFFs of the file. Throws MovieError::unreadable where a chunk belongs to no stream of
// the header or to one of another type, where the palette changes, or where there are more than mostAVIChunks
// chunks; and CancellationError.
AVIWalk walkAVI(AVIBytes& bytes, const AVIHeaders& headers);

// What a chunk's name says.
enum class AVIChunkKind {
  samples,
  other,    // known to hold no samples: padding, lists, indexes, ignored streams
  unknown,  // four printable characters
  misfit,   // a chunk of samples that no stream of the header can have
  none,     // no name
};
AVIChunkKind aviChunkKind(std::string_view name, const AVIHeaders& headers);

}  // namespace tolvander::platform::linux_
