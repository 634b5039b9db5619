#include "Samples/CameraClip.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "Samples/JPEGCodec.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Media/IndexHonouringReader.h"

namespace tolvander::tests {

namespace {

class CameraClips : public testing::TestWithParam<AVIPacker> {
 protected:
  CameraClip clip() const {
    CameraClip clip;
    clip.packer = GetParam();
    return clip;
  }

  // A player shows what was put into the clip.
  void expectPlayed(const CameraClip& clip) const {
    const CameraClipContent content = writeCameraClip(url_, clip);
    const auto played = playedAVI(readFile(url_));
    ASSERT_TRUE(played);
    ASSERT_EQ(played->streams.size(), 2U);
    EXPECT_TRUE(played->streams[0].shown == content.shown);
    EXPECT_TRUE(played->streams[1].sound == content.sound);
  }

  TemporaryFolder folder_;
  FileURL url_ = folder_ / "MOVI0001.AVI";
};

TEST_P(CameraClips, showWhatWasPutIntoThem) { expectPlayed(clip()); }

TEST_P(CameraClips, showTheSameWithEverySlip) {
  for (const AVISlip& slip : harmlessAVISlips()) {
    SCOPED_TRACE(slip.name);
    CameraClip slipped = clip();
    slip.make(slipped);
    expectPlayed(slipped);
  }
}

TEST_P(CameraClips, holdPicturesThatDecodeAndDiffer) {
  const CameraClipContent content = writeCameraClip(url_, clip());
  ASSERT_EQ(content.frames.size(), 24U);
  RGBImage previous;
  for (const std::string& frame : content.frames) {
    const RGBImage image = decodeJPEG(bytesOf(frame));
    EXPECT_EQ(image.width, 64U);
    EXPECT_NE(image, previous);
    previous = image;
  }
}

TEST_P(CameraClips, nameTheirPacker) {
  writeCameraClip(url_, clip());
  const std::string file = readFile(url_);
  const std::string text =
      GetParam() == AVIPacker::v20130103 ? "AviPackerV3 20130103" : "AviPackerV3 20140916";
  for (const char* chunk : {"strd", "ISFT", "JUNK"}) {
    const std::size_t begin = file.find(chunk);
    EXPECT_NE(file.substr(begin, 60).find(text), std::string::npos) << chunk;
  }
}

INSTANTIATE_TEST_SUITE_P(OfBothPackers, CameraClips, testing::ValuesIn(bothAVIPackers),
                         [](const auto& packer) { return habitOf(packer.param); });

}  // namespace

}  // namespace tolvander::tests
