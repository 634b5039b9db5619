#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander::tests {

// What a player shows of an AVI: the bytes of the frame at each slot, and the bytes of sound.
struct PlayedStream {
  std::string type;        // "vids", "auds"
  std::uint32_t rate = 0;  // slots a second are rate / scale
  std::uint32_t scale = 0;
  std::vector<std::string> shown = {};  // video: the frame of each slot
  std::string sound = {};               // audio: every chunk's bytes, joined
};

struct PlayedAVI {
  std::vector<PlayedStream> streams;  // the video and audio streams, in the order of the file
};

// Reads an AVI as players do: by its index where every entry leads to a chunk of that name, else from chunk
// to chunk. Where both can be read and differ, the one that has as many frames as the header says; where
// neither has, the index, unless it leaves out chunks. Written for tests, as a judge of the program's own
// readers; shares nothing with them. Empty for a file that can be read in neither way.
std::optional<PlayedAVI> playedAVI(std::string_view file);

}  // namespace tolvander::tests
