#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "Samples/AVIWriter.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A short AVI of known content: a chunk of video and one of each sound track in turn.
struct TestClip {
  AVIHeader header = {.audio = {AVIAudioFormat::pcm16()}};
  unsigned frames = 30;
  std::set<unsigned> repeatedFrames = {};  // chunks without data
  std::size_t audioChunkBytes = 532;
  unsigned frameWidth = 0;  // what the frames themselves say; 0: what the header says
  unsigned frameHeight = 0;
  std::uint32_t seed = 1;
};

// What was put into the tracks.
struct TestClipContent {
  std::int64_t videoFrames = 0;  // of each video stream, without the repeated ones
  std::vector<std::string> video;
  std::vector<std::string> audio;
};

// Writes the clip and tells its content. The same clip is the same file to the byte.
TestClipContent writeClip(const FileURL& url, const TestClip& clip);

// Takes bytes off the end of a file.
void truncateFile(const FileURL& url, std::uint64_t removedBytes);

}  // namespace tolvander::tests
