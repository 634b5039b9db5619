#pragma once

#include <optional>
#include <vector>

#include "Platform/Linux/Movies/AVIBytes.h"
#include "Platform/Linux/Movies/AVIChunks.h"
#include "Platform/Linux/Movies/AVIHeaders.h"

namespace tolvander::platform::linux_ {

// The result of walking from chunk header to chunk header in the lists of samples.
struct AVIWalk {
  enum class State {
    whole,
    cut,   // every chunk is complete, but the list declares another end: chunks may be missing
    lost,  // no chunk header at some offset, or a chunk exceeds the file; the chunks are unreliable
  };

  State state = State::whole;
  bool hasUnknownChunks = false;           // skipped among the samples; could be damaged samples
  std::vector<AVIStreamChunks> streams;    // one per stream of the header
  std::optional<AVIChunkHeader> oldIndex;  // idx1 after the first list
};

// Walks through all RIFF chunks of the file. Throws MovieError::unreadable if a chunk belongs to no stream
// of the header or to one of another type, if the palette changes, or for more than mostAVIChunks chunks;
// and CancellationError.
AVIWalk walkAVI(AVIBytes& bytes, const AVIHeaders& headers);

// The kind of a chunk by its name.
enum class AVIChunkKind {
  samples,
  other,    // no samples: padding, lists, indexes, ignored streams
  unknown,  // four printable characters
  misfit,   // samples that no stream of the header can have
  none,     // not a name
};
AVIChunkKind aviChunkKind(std::string_view name, const AVIHeaders& headers);

}  // namespace tolvander::platform::linux_
