// Videos as cameras write them become movies that show the same frames at the same times.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <optional>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "Samples/CameraClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Media/QuickTimeTables.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/NativeCharmeraVideoProcessor.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander::tests {

namespace {

class CameraClipRewrap : public testing::TestWithParam<AVIPacker> {
 protected:
  CameraClip clip() const {
    CameraClip clip;
    clip.packer = GetParam();
    return clip;
  }

  CameraClipContent write(const CameraClip& clip) const {
    const CameraClipContent content = writeCameraClip(source_, clip);
    const std::array times{timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                           timespec{.tv_sec = 1'800'000'000, .tv_nsec = 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, source_.path().c_str(), times.data(), 0), 0);
    return content;
  }

  // The movie holds every frame at its time, every sample of sound, and the date.
  void expectRewrapped(const CameraClip& clip) const {
    const CameraClipContent content = write(clip);
    const ProvenMovie proven = NativeCharmeraVideoProcessor().rewrap(source_, destination_, std::nullopt, {});
    const std::vector<QuickTimeTrack> tracks = quickTimeTracks(readFile(destination_));
    std::filesystem::remove(destination_.path());
    ASSERT_EQ(tracks.size(), clip.soundRate > 0 ? 2U : 1U);
    const QuickTimeTrack& video = tracks.front();
    EXPECT_TRUE(video.shown(clip.header.rate, clip.header.scale) == content.shown);
    EXPECT_EQ(video.sizes.size(), content.frames.size());
    const double slotsPerSecond = static_cast<double>(clip.header.rate) / clip.header.scale;
    EXPECT_NEAR(proven.metadata.duration, clip.slots / slotsPerSecond, 1.0 / 22'050);
    EXPECT_NEAR(proven.metadata.frameRate, slotsPerSecond, 1e-6);
    EXPECT_EQ(proven.metadata.captureDate, dateFromISO8601("2027-01-15T08:00:00Z"));
    ASSERT_EQ(proven.videoTracks.size(), 1U);
    EXPECT_EQ(proven.videoTracks.front().sampleCount, static_cast<std::int64_t>(content.frames.size()));
    for (const QuickTimeTrack& track : tracks) {
      EXPECT_FALSE(track.isEdited);
    }
    if (clip.soundRate > 0) {
      EXPECT_TRUE(tracks.back().bytes == content.sound);
      EXPECT_EQ(tracks.back().timeScale, clip.soundRate);
    }
  }

  void expectRefused(const CameraClip& clip) const {
    write(clip);
    try {
      NativeCharmeraVideoProcessor().rewrap(source_, destination_, std::nullopt, {});
      ADD_FAILURE() << "accepted";
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), CharmeraVideoProcessingError::Case::invalidVideo) << error.what();
    }
    EXPECT_FALSE(std::filesystem::exists(destination_.path()));
  }

  TemporaryFolder folder_ = TemporaryFolder::inMemory();
  FileURL source_ = folder_ / "MOVI0001.AVI";
  FileURL destination_ = folder_ / "MOVI0001.mov";
};

TEST_P(CameraClipRewrap, keepsEveryFrameAtItsTime) { expectRewrapped(clip()); }

TEST_P(CameraClipRewrap, keepsEveryFrameBesideEverySlip) {
  for (const AVISlip& slip : harmlessAVISlips()) {
    SCOPED_TRACE(slip.name);
    CameraClip slipped = clip();
    slip.make(slipped);
    if (GetParam() == AVIPacker::v20140916 && slip.hidesTheIndex) {
      expectRefused(slipped);
    } else {
      expectRewrapped(slipped);
    }
  }
}

TEST_P(CameraClipRewrap, keepsTheTimesOfManyRepeats) {
  CameraClip often = clip();
  often.slots = 207;
  often.missing.clear();
  for (unsigned slot = 1; slot < often.slots; ++slot) {
    if (slot % 4 != 0) {
      often.missing.insert(slot);
    }
  }
  expectRewrapped(often);
  often.soundAmidRepeats = true;
  expectRewrapped(often);
}

// Fifteen frames a second under a header that says thirty.
TEST_P(CameraClipRewrap, keepsTheHeadersRateWhereEveryFrameIsRepeated) {
  CameraClip twice = clip();
  twice.missing.clear();
  for (unsigned slot = 1; slot < twice.slots; slot += 2) {
    twice.missing.insert(slot);
  }
  expectRewrapped(twice);
  EXPECT_EQ(VideoMediaMetadata::load(source_).frameRate, 30);
}

TEST_P(CameraClipRewrap, keepsASingleFrameForAllSlots) {
  CameraClip single = clip();
  single.slots = 9;
  single.missing = {1, 2, 3, 4, 5, 6, 7, 8};
  expectRewrapped(single);
}

TEST_P(CameraClipRewrap, keepsClipsWithoutMissingFrames) {
  CameraClip complete = clip();
  complete.missing.clear();
  expectRewrapped(complete);
}

TEST_P(CameraClipRewrap, keepsClipsWithoutSound) {
  CameraClip silent = clip();
  silent.soundRate = 0;
  expectRewrapped(silent);
}

TEST_P(CameraClipRewrap, keepsOtherRates) {
  for (const auto& [rate, scale] : {std::pair{30'000U, 1'001U}, {25U, 1U}, {1'000'000U, 33'333U}, {1U, 2U}}) {
    SCOPED_TRACE(rate);
    CameraClip other = clip();
    other.header.rate = rate;
    other.header.scale = scale;
    other.soundRate = rate == 1 ? 0 : 32'000;
    expectRewrapped(other);
  }
}

// Chunk headers that lead beyond the end of the file.
TEST(CameraClipRewrapOfLargeBuffers, keepsEveryFrameAtItsTime) {
  const TemporaryFolder folder;
  CameraClip clip;
  clip.packer = AVIPacker::v20140916;
  clip.bufferSize = 153'600;
  const CameraClipContent content = writeCameraClip(folder / "MOVI0001.AVI", clip);
  NativeCharmeraVideoProcessor().rewrap(folder / "MOVI0001.AVI", folder / "MOVI0001.mov", std::nullopt, {});
  const std::vector<QuickTimeTrack> tracks = quickTimeTracks(readFile(folder / "MOVI0001.mov"));
  EXPECT_TRUE(tracks.at(0).shown(30) == content.shown);
  EXPECT_TRUE(tracks.at(1).bytes == content.sound);
}

TEST_P(CameraClipRewrap, refusesADamagedSoundHeader) {
  for (const AVISlip& slip : damagedSoundHeaders()) {
    SCOPED_TRACE(slip.name);
    CameraClip damaged = clip();
    slip.make(damaged);
    expectRefused(damaged);
  }
}

TEST_P(CameraClipRewrap, refusesARepeatingClipWithoutIndex) {
  CameraClip bare = clip();
  bare.header.index = AVIIndex::none;
  expectRefused(bare);
}

TEST_P(CameraClipRewrap, refusesARepeatingClipWithAGarbageIndex) {
  CameraClip garbage = clip();
  garbage.header.changeIndex = [](std::vector<AVIIndexEntry>& entries) {
    for (AVIIndexEntry& entry : entries) {
      entry.offset = entry.offset * 7919 % 50'021;
    }
  };
  expectRefused(garbage);
}

TEST_P(CameraClipRewrap, refusesAClipWhoseIndexIsCutOff) {
  CameraClip half = clip();
  half.header.index = AVIIndex::half;
  expectRefused(half);
}

// The walk sees the chunks; only where it doesn't does the header's count decide.
TEST_P(CameraClipRewrap, judgesWrongHeaderCountsByThePacker) {
  for (const std::uint32_t claimed : {0U, 7U, 100'000U}) {
    SCOPED_TRACE(claimed);
    CameraClip wrong = clip();
    wrong.header.claimedFrames = claimed;
    if (GetParam() == AVIPacker::v20130103) {
      expectRewrapped(wrong);
    } else {
      expectRefused(wrong);
    }
  }
}

TEST_P(CameraClipRewrap, takesTheWholeHeadersCountWhereTheStreamsIsWrong) {
  CameraClip wrong = clip();
  wrong.header.claimedFrames = 7;
  wrong.header.claimedTotalFrames = wrong.slots;
  expectRewrapped(wrong);
  wrong.header.claimedTotalFrames = 8;
  wrong.header.extendedFrames = wrong.slots;
  expectRewrapped(wrong);
}

TEST_P(CameraClipRewrap, refusesAClipWhoseHeaderCountsOnlyTheChunks) {
  CameraClip counting = clip();
  counting.header.claimedFrames = counting.slots - static_cast<unsigned>(counting.missing.size());
  expectRefused(counting);
}

INSTANTIATE_TEST_SUITE_P(OfBothPackers, CameraClipRewrap, testing::ValuesIn(bothAVIPackers),
                         [](const auto& packer) { return habitOf(packer.param); });

}  // namespace

}  // namespace tolvander::tests
