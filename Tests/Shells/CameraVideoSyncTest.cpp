// A card full of videos as cameras write them, synced as a whole.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "Samples/CameraClip.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Media/QuickTimeTables.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

constexpr unsigned slots = 12;
constexpr unsigned framesPerSecond = 30;

struct CardVideo {
  std::string name;
  FileURL file;
  CameraClipContent content;
  std::chrono::sys_seconds recorded;
};

class CameraVideoSync : public CommandLine {
 protected:
  CameraVideoSync() {
    fs::create_directories(card_.appending("DCIM/100CHRM").path());
    fs::create_directories(card_.appending("SPIDCIM").path());
  }

  void add(AVIPacker packer, const AVISlip& slip) {
    const auto number = static_cast<unsigned>(videos_.size());
    CameraClip clip;
    clip.packer = packer;
    clip.slots = slots;
    clip.missing = {2, 3, 7, 11};
    clip.bufferSize = 8192;
    clip.seed = number;
    clip.soundRate = number % 2 == 0 ? 22'050 : 32'000;
    slip.make(clip);
    CardVideo video{std::string(habitOf(packer)) + ", " + slip.name,
                    card_.appending("DCIM/100CHRM/MOVI" + std::to_string(1001 + number) + ".AVI"),
                    {},
                    std::chrono::sys_seconds(std::chrono::seconds(1'790'000'000 + 60 * number))};
    video.content = writeCameraClip(video.file, clip);
    const std::array times{timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                           timespec{.tv_sec = video.recorded.time_since_epoch().count(), .tv_nsec = 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, video.file.path().c_str(), times.data(), 0), 0);
    videos_.push_back(std::move(video));
  }

  void sync() const {
    const ToolResult synced = run({"sync", card_.path(), "--yes"});
    ASSERT_EQ(synced.status, 0) << synced.errors;
    EXPECT_TRUE(contains(synced.output, "“CARD”: " + std::to_string(videos_.size()) + " videos imported\n"))
        << synced.output;
  }

  // The movie that has become of a video.
  FileURL inLibrary(const CardVideo& video) const {
    const std::string stem(video.file.stem());
    const FileURL originals = home.appending("pictures/Tolvander/Originals");
    for (const auto& entry : fs::recursive_directory_iterator(originals.path())) {
      if (entry.path().stem() == stem) {
        return FileURL(entry.path().string());
      }
    }
    throw std::runtime_error(stem + " is not in the library");
  }

  static std::string outputOf(const std::vector<std::string>& command) {
    const ToolResult result = runTool(command);
    EXPECT_EQ(result.status, 0) << result.errors;
    return result.output;
  }

  // For ffmpeg: the hash of the frame that is shown at each of the header's times.
  static std::vector<std::string> shownForFfmpeg(const FileURL& url) {
    std::istringstream packets(
        outputOf({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                  "packet=pts_time,data_hash", "-show_data_hash", "sha256", "-of", "csv=p=0", url.path()}));
    std::vector<std::string> shown;
    double time = 0;
    char comma = 0;
    std::string hash;
    while (packets >> time >> comma >> hash) {
      const auto slot = static_cast<std::size_t>(time * framesPerSecond + 0.5);
      shown.resize(slot, shown.empty() ? hash : shown.back());
      shown.push_back(hash);
    }
    shown.resize(slots, shown.empty() ? "" : shown.back());
    return shown;
  }

  static std::string soundForFfmpeg(const FileURL& url) {
    return outputOf({"ffmpeg", "-nostdin", "-v", "error", "-i", url.path(), "-map", "0:a", "-c", "copy", "-f",
                     "hash", "-"});
  }

  // Every slot's picture, decoded.
  static std::string picturesForFfmpeg(const FileURL& url) {
    return outputOf({"ffmpeg", "-nostdin", "-v", "error", "-i", url.path(), "-map", "0:v", "-vf",
                     "fps=30,tpad=stop_mode=clone:stop=" + std::to_string(slots), "-frames:v",
                     std::to_string(slots), "-f", "framehash", "-"});
  }

  const FileURL card_ = folder / "CARD";
  std::vector<CardVideo> videos_;
};

const AVISlip noSlip{"noSlip", [](CameraClip&) {}};

TEST_F(CameraVideoSync, bringsEveryFrameSampleAndDateIntoTheLibrary) {
  for (const AVIPacker packer : bothAVIPackers) {
    add(packer, noSlip);
    for (const AVISlip& slip : harmlessAVISlips()) {
      if (packer == AVIPacker::v20130103 || !slip.hidesTheIndex) {
        add(packer, slip);
      }
    }
  }
  sync();
  for (const CardVideo& video : videos_) {
    SCOPED_TRACE(video.name);
    const FileURL movie = inLibrary(video);
    const std::vector<QuickTimeTrack> tracks = quickTimeTracks(readFile(movie));
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_TRUE(tracks[0].shown(framesPerSecond) == video.content.shown);
    EXPECT_TRUE(tracks[1].bytes == video.content.sound);
    EXPECT_FALSE(tracks[0].isEdited || tracks[1].isEdited);
    const VideoMediaMetadata metadata = VideoMediaMetadata::load(movie);
    EXPECT_NEAR(metadata.duration, 0.4, 1e-6);
    EXPECT_NEAR(metadata.frameRate, framesPerSecond, 1e-6);
    EXPECT_EQ(metadata.captureDate, Date(video.recorded));
  }
}

// ffmpeg honours the index of these files.
TEST_F(CameraVideoSync, showsWhatFfmpegShowsOfTheCard) {
  if (!toolExists("ffprobe") || !toolExists("ffmpeg")) {
    GTEST_SKIP() << "ffmpeg is not installed";
  }
  for (const AVIPacker packer : bothAVIPackers) {
    add(packer, noSlip);
    for (const AVISlip& slip : harmlessAVISlips()) {
      if (slip.name == "alignedTo512" || slip.name == "textBehindIndex" ||
          slip.name == "indexFromFileStart") {
        add(packer, slip);
      }
    }
  }
  ASSERT_EQ(videos_.size(), 8U);
  sync();
  for (const CardVideo& video : videos_) {
    SCOPED_TRACE(video.name);
    const FileURL movie = inLibrary(video);
    EXPECT_EQ(shownForFfmpeg(movie), shownForFfmpeg(video.file));
    EXPECT_EQ(soundForFfmpeg(movie), soundForFfmpeg(video.file));
    EXPECT_EQ(picturesForFfmpeg(movie), picturesForFfmpeg(video.file));
  }
}

}  // namespace
}  // namespace tolvander::tests
