#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Linux/Movies/AVIIndex.h"
#include "Platform/Linux/Movies/AVIReading.h"
#include "Platform/Linux/Movies/AVIWalk.h"
#include "Tests/Platform/Movies/SmallAVI.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::tests {

// Bytes of a chunk and how many slots it is shown.
using ShownChunk = std::pair<std::string, unsigned>;

class AVIReaderFixture : public testing::Test {
 protected:
  using Reading = platform::linux_::AVIReading;
  using Streams = std::vector<platform::linux_::AVIStreamChunks>;

  void write(const std::string& bytes) {
    bytes_ = bytes;
    writeFile(url_, bytes);
  }
  void write(const SmallAVI& avi) { write(avi.bytes()); }

  platform::linux_::MovieFile file() const { return platform::linux_::MovieFile::openForReading(url_); }

  platform::linux_::AVIWalk walk(const SmallAVI& avi) {
    write(avi);
    const auto opened = file();
    platform::linux_::AVIBytes bytes(opened, token_);
    return walkAVI(bytes, readAVIHeaders(bytes));
  }

  std::optional<Streams> index(const SmallAVI& avi) {
    const auto walked = walk(avi);
    const auto opened = file();
    platform::linux_::AVIBytes bytes(opened, token_);
    return readAVIIndex(opened, readAVIHeaders(bytes), walked, token_);
  }

  Reading read(const SmallAVI& avi) {
    write(avi);
    return readAVI(file(), token_);
  }

  std::vector<ShownChunk> contents(const platform::linux_::AVIStreamChunks& stream) const {
    std::vector<ShownChunk> result;
    for (const auto& chunk : stream.chunks) {
      result.emplace_back(bytes_.substr(static_cast<std::size_t>(chunk.offset), chunk.size), chunk.slots);
    }
    return result;
  }

  void expectFrames(const SmallAVI& avi, const std::vector<ShownChunk>& frames,
                    const std::string& sound = "AAAABBBBCCCC") {
    const Reading reading = read(avi);
    EXPECT_EQ(contents(reading.streams[0]), frames);
    std::string joined;
    for (const auto& [bytes, slots] : contents(reading.streams[1])) {
      joined += bytes;
    }
    EXPECT_EQ(joined, sound);
  }

  // The reason, for the person who reads the test's output; empty where the file is accepted.
  std::string refusal(const SmallAVI& avi) {
    try {
      read(avi);
      return {};
    } catch (const MovieError& error) {
      EXPECT_EQ(error.kind(), MovieError::Case::unreadable);
      return error.what();
    }
  }

  void expectRefused(const SmallAVI& avi, const std::string& reason) {
    EXPECT_NE(refusal(avi).find(reason), std::string::npos) << refusal(avi);
  }

  const std::vector<ShownChunk> plainFrames_ = {{picture('a'), 1}, {picture('b'), 1}, {picture('c'), 1}};
  CancellationToken token_;
  TemporaryFolder folder_;
  FileURL url_ = folder_ / "clip.avi";
  std::string bytes_;
};

}  // namespace tolvander::tests
