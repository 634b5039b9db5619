#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "Samples/AVIWriter.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// The programs that write the videos in cameras of the Generalplus family, after their own date.
enum class AVIPacker {
  v20130103,  // repeats a frame by one more index entry for the chunk of the frame before
  v20140916,  // each video chunk's header says `bufferSize`; a dropped frame is an index entry of 0 bytes
};

inline constexpr std::array bothAVIPackers{AVIPacker::v20130103, AVIPacker::v20140916};

// What it does, as a name for tests.
constexpr const char* habitOf(AVIPacker packer) {
  return packer == AVIPacker::v20130103 ? "repeatingByIndex" : "claimingBufferSizes";
}

// A short video as those cameras write it: Motion JPEG, every frame another one, and uncompressed sound of 16
// bits in one channel.
struct CameraClip {
  AVIPacker packer = AVIPacker::v20130103;
  AVIHeader header = {};  // its sound and packer text are set by writeCameraClip
  unsigned slots = 30;    // frames to be shown, with those below
  std::set<unsigned> missing = {3, 4, 11, 12, 13, 29};  // slots for which the encoder had no frame; never 0
  std::uint32_t soundRate = 22'050;                     // 0: no sound
  bool soundAmidRepeats = false;      // between a frame and its repeats; the cameras put it behind them
  std::uint32_t bufferSize = 16'384;  // 153,600 on the cameras, whose files are larger
  std::string amidChunks = {};        // bytes in front of the fourth slot's chunk
  std::string behindChunks = {};      // bytes at the end of movi
  std::uint64_t seed = 1;
};

// What was put into the clip.
struct CameraClipContent {
  std::vector<std::string> shown;   // the frame of each slot
  std::vector<std::string> frames;  // every frame once
  std::vector<unsigned> slotsOfFrames;
  std::string sound;
};

// Writes the clip and returns its content. The same clip is the same file to the byte.
CameraClipContent writeCameraClip(const FileURL& url, const CameraClip& clip);

// A mistake in the structure around the samples, none of which is lost by it.
struct AVISlip {
  std::string name;
  std::function<void(CameraClip&)> make;
  bool hidesTheIndex = false;  // from a reader that can't walk to it: nothing says where movi ends
};

// One of every kind that is seen on cameras' cards.
std::vector<AVISlip> harmlessAVISlips();

// A mistake that makes the sound unreadable.
std::vector<AVISlip> damagedSoundHeaders();

}  // namespace tolvander::tests
