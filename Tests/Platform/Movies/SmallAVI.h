#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

std::string little16(std::uint64_t value);
std::string little32(std::uint64_t value);
std::string little64(std::uint64_t value);

// A chunk with its pad byte.
std::string riffChunk(std::string_view name, std::string_view content);
std::string riffList(std::string_view type, std::string_view content);

// The start and the end of a JPEG with `fill` in between; not a picture that could be decoded.
std::string picture(char fill, std::size_t size = 20);

// An AVI put together byte by byte, in which every structure can say something else. A stream of video (MJPG,
// 30 frames a second) and one of sound (PCM, 16 bit, mono, 8000 Hz).
class SmallAVI {
 public:
  enum class Base { word, behindWord, file };

  // Adds a chunk to the list of samples and an entry to the index. Odd sizes get a pad byte.
  void add(std::string_view name, std::string_view content);

  // The same with another size in the chunk's header.
  void addClaiming(std::uint32_t size, std::string_view name, std::string_view content);

  // Adds only a chunk, or any bytes.
  void addUnindexed(std::string_view bytes) { samples += bytes; }

  // Adds only an entry: for the last chunk of that name again, or of 0 bytes.
  void repeat(std::string_view name = "00dc");
  void drop(std::string_view name = "00dc") { entries.push_back({std::string(name), 0, 0}); }

  // Three frames (a, b, c) of a slot each, with sound ("AAAA", "BBBB", "CCCC") behind each of them.
  static SmallAVI plain();

  std::string bytes() const;

  struct Entry {
    std::string name;
    std::uint32_t offset = 0;  // from the word "movi"
    std::uint32_t size = 0;
  };

  std::string samples;         // of the list, without its type
  std::vector<Entry> entries;  // of idx1
  bool hasIndex = true;
  Base base = Base::word;
  std::uint32_t streamFrames = 3;  // in strh
  std::uint32_t movieFrames = 3;   // in avih
  std::optional<std::uint32_t> extendedFrames = {};
  std::uint32_t soundLength = 6;
  std::optional<std::uint32_t> declaredSize = {};  // of the list; else the truth
  std::int64_t slip = 0;                           // added to the true one
  std::string videoHandler = "MJPG";
  std::string videoFormat = "MJPG";
  std::uint32_t rate = 30;
  std::uint32_t scale = 1;
  std::uint32_t microsecondsPerFrame = 33'333;
  std::string soundType = "auds";
  std::string soundFormat;  // WAVEFORMATEX; filled by the constructor
  std::string videoIndex;   // indx chunks (OpenDML), empty for none
  std::string soundIndex;
  std::string behindSamples;  // between the list and idx1
  std::string behindIndex;

  SmallAVI();
  std::string header() const;  // up to the list of samples
};

}  // namespace tolvander::tests
