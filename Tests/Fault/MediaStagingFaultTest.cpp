#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "Samples/Bytes.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/Fault/PowerCut.h"
#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaStagingService.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

class CopyingVideoProcessor final : public CharmeraVideoProcessing {
 public:
  CharmeraVideoSupportStatus supportStatus() const override { return CharmeraVideoSupportStatus::available; }
  CharmeraVideoProbe probe(const FileURL&, std::optional<Date>, const CancellationToken&) const override {
    return {};
  }
  void transcode(const FileURL& source, const FileURL& destination, const CancellationToken&) const override {
    const std::string frames = readFile(source);
    std::ofstream(destination.path(), std::ios::binary) << "movie of " << frames;
  }
};

class StagingFaults : public testing::Test {
 protected:
  StagingFaults() {
    const Bytes picture = JPEGBuilder()
                              .exif(TIFFBuilder().originalDate("2026:07:01 12:00:00"))
                              .quantisationTable()
                              .huffmanTable()
                              .frame(640, 480)
                              .scan()
                              .endOfImage()
                              .build();
    add("PICT0001.JPG", {reinterpret_cast<const char*>(picture.data()), picture.size()});
    add("a.png", "unaltered");
    add("MOVI0002.AVI", "frames");
  }

  void add(const std::string& name, std::string_view content) {
    const FileURL url = (folder / "CARD").appending(name);
    writeFile(url, content);
    files.push_back({.url = url,
                     .volumeURL = folder / "CARD",
                     .relativePath = name,
                     .filename = name,
                     .byteCount = static_cast<std::int64_t>(content.size()),
                     .modifiedAt = dateSince1970(1'770'000'000)});
  }

  PreparedMediaBatch prepare() { return service.prepare(files, true, TimeZone::utc()); }

  void setUp() const { fs::remove_all(root.path()); }

  bool nothingIsLeft() const { return !fs::exists(root.path()) || fs::is_empty(root.path()); }

  std::string cardContent() const {
    std::string content;
    for (const CameraMediaFile& file : files) {
      content += readFile(file.url);
    }
    return content;
  }

  TemporaryFolder folder;
  const FileURL root = folder / "Media Staging";
  std::vector<CameraMediaFile> files;
  MediaStagingService service{root, std::make_shared<CopyingVideoProcessor>()};
};

TEST_F(StagingFaults, preparingLeavesNothingWhereACallFails) {
  const std::string card = cardContent();
  for (const int error : {EIO, ENOSPC}) {
    const std::size_t points = forEachFaultPoint(
        Fault::failing(error), [this] { setUp(); }, [this] { service.cleanup(prepare()); },
        [&](const FaultOutcome& outcome) {
          // A removal that fails is told, and what it left is swept later.
          EXPECT_TRUE(nothingIsLeft() || outcome.threw) << outcome.call;
          service.cleanupAbandoned(std::chrono::seconds(0), Date::max());
          EXPECT_TRUE(nothingIsLeft());
        });
    EXPECT_GT(points, 15U);
  }
  EXPECT_EQ(cardContent(), card);
}

TEST_F(StagingFaults, aFailureOfPreparingItselfRemovesTheBatchAtOnce) {
  forEachFaultPoint(
      Fault::failing(ENOSPC), [this] { setUp(); }, [this] { prepare(); },
      [this](const FaultOutcome& outcome) { EXPECT_EQ(nothingIsLeft(), outcome.threw) << outcome.call; });
}

TEST_F(StagingFaults, usingABatchRemovesItWhereverACallFails) {
  forEachFaultPoint(
      Fault::failing(EIO), [this] { setUp(); },
      [this] { service.withPreparedBatch(files, true, TimeZone::utc(), [](const PreparedMediaBatch&) {}); },
      [this](const FaultOutcome& outcome) {
        // A removal that fails is made good by the second try, and told all the same.
        EXPECT_TRUE(nothingIsLeft()) << outcome.call;
        EXPECT_TRUE(outcome.threw || !outcome.call.starts_with("unlink")) << outcome.call;
      });
}

TEST_F(StagingFaults, whatADyingProcessLeavesIsSweptAtTheNextStart) {
  const std::string card = cardContent();
  const std::size_t points = forEachFaultPoint(
      Fault::kill(), [this] { setUp(); },
      [this] { service.withPreparedBatch(files, true, TimeZone::utc(), [](const PreparedMediaBatch&) {}); },
      [this](const FaultOutcome&) {
        MediaStagingService restarted(root);
        restarted.cleanupAbandoned(std::chrono::seconds(0), Date::max());
        EXPECT_TRUE(nothingIsLeft());
      });
  EXPECT_GT(points, 15U);
  EXPECT_EQ(cardContent(), card);
}

// Staged files are not made durable, so that anything can be there.
TEST_F(StagingFaults, nothingThatAPowerCutLeavesIsTakenForAStagedFile) {
  fs::create_directories(root.path());
  PowerCut cut(root);
  cut.record([this] { prepare(); });
  const auto count = cut.forEachState([this](std::size_t) {
    MediaStagingService restarted(root, std::make_shared<CopyingVideoProcessor>());
    const PreparedMediaBatch batch = restarted.prepare(files, true, TimeZone::utc());
    for (const PreparedMediaFile& file : batch.files) {
      EXPECT_EQ(FileFingerprinter::sha256(file.importURL), file.processedFingerprint)
          << file.importURL.path();
    }
    EXPECT_EQ(batch.files.size(), files.size());
    restarted.cleanup(batch);
    restarted.cleanupAbandoned(std::chrono::seconds(0), Date::max());
    EXPECT_TRUE(nothingIsLeft());
  });
  std::cout << "staging: " << count.states << " states, at most " << count.longestWindow
            << " changes undecided, " << count.sampledMoments << " moments sampled\n";
  EXPECT_GT(count.states, 50U);
}

// A camera file that changes while it is staged, at every moment that staging has.
class ChangingSource : public StagingFaults, public testing::WithParamInterface<const char*> {};

TEST_P(ChangingSource, endsInAnErrorOrInWhatWasExamined) {
  const FileURL changing = (folder / "CARD").appending(GetParam());
  std::vector<FingerprintedMediaFile> examined;
  for (const CameraMediaFile& file : files) {
    examined.push_back({.file = file,
                        .sourceFingerprint = FileFingerprinter::sha256(file.url),
                        .mediaPayloadFingerprint = {},
                        .captureDate = {},
                        .metadata = {},
                        .pendingProcessedFingerprint = {}});
  }
  const std::string original = readFile(changing);
  const std::vector<std::pair<std::string, std::function<void()>>> changes = {
      {"grows", [&] { writeFile(changing, original + "more"); }},
      {"shrinks", [&] { writeFile(changing, original.substr(1)); }},
      {"changes", [&] { writeFile(changing, std::string(original.size(), '?')); }},
      {"vanishes", [&] { fs::remove(changing.path()); }},
  };
  const std::size_t calls = countMutatingCalls([&] { service.cleanup(prepare()); });
  for (const auto& [name, change] : changes) {
    std::size_t refused = 0;
    for (std::size_t point = 1; point <= calls; ++point) {
      writeFile(changing, original);
      try {
        runWithInterruption(point, change, [&] {
          service.withPreparedBatch(files, true, TimeZone::utc(), [&](const PreparedMediaBatch& batch) {
            MediaStagingService::validateSourceIdentities(batch, examined);
          });
        });
      } catch (const Error&) {
        ++refused;
      }
      EXPECT_TRUE(nothingIsLeft()) << name << " at call " << point;
    }
    EXPECT_GT(refused, 0U) << name << ": staging never saw it";
    EXPECT_LT(refused, calls) << name << ": what happens after the copy is no matter";
  }
}

INSTANTIATE_TEST_SUITE_P(, ChangingSource, testing::Values("PICT0001.JPG", "a.png", "MOVI0002.AVI"),
                         [](const auto& file) {
                           return std::string(file.param).substr(0, 1) + "_" +
                                  std::string(FileURL("/" + std::string(file.param)).pathExtension());
                         });

// A file that isn't altered and is read and written in three parts.
class UnalteredFile : public StagingFaults {
 protected:
  static constexpr std::size_t parts = 3;
  static constexpr std::size_t byteCount = 600'000;

  UnalteredFile() { add("b.mov", std::string(byteCount, 'm')); }

  const CameraMediaFile& file() const { return files.back(); }

  void stage(const CancellationToken& token = {}) {
    service.cleanup(service.prepare({file()}, true, TimeZone::utc(), token));
  }
  std::size_t calls() {
    return countMutatingCalls([this] { stage(); });
  }
  void resize(std::size_t size) const { fs::resize_file(file().url.path(), size); }

  // At how many of staging's calls a change of the file's size there ends in the error that says so.
  std::size_t refusals(std::size_t size) {
    std::size_t refused = 0;
    const std::size_t last = calls();
    for (std::size_t point = 1; point <= last; ++point) {
      resize(byteCount);
      try {
        runWithInterruption(
            point, [&] { resize(size); }, [this] { stage(); });
      } catch (const MediaStagingError& error) {
        EXPECT_EQ(error.kind(), MediaStagingError::Case::sourceChanged);
        ++refused;
      }
      EXPECT_TRUE(nothingIsLeft()) << "call " << point;
    }
    return refused;
  }
};

TEST_F(UnalteredFile, hasChangedWhereItGrowsOrShrinksWhileItIsCopied) {
  // The last part has been read when it is written, and only what is behind it can still be missed.
  EXPECT_GE(refusals(byteCount + 1), parts);
  EXPECT_GE(refusals(byteCount / 2), parts - 1);
  EXPECT_LT(refusals(byteCount + 1), calls());
}

TEST_F(UnalteredFile, isCopiedNoFurtherOnceCancelled) {
  std::size_t stopped = 0;
  const std::size_t last = calls();
  for (std::size_t point = 1; point <= last; ++point) {
    CancellationSource source;
    try {
      runWithInterruption(
          point, [&] { source.cancel(); }, [&] { stage(source.token()); });
    } catch (const CancellationError&) {
      ++stopped;
    }
    EXPECT_TRUE(nothingIsLeft()) << "call " << point;
  }
  EXPECT_GE(stopped, parts - 1);
  EXPECT_LT(stopped, last);
}

TEST_F(UnalteredFile, isNeverSeenInPartUnderItsName) {
  std::size_t seen = 0;
  const auto look = [&] {
    if (!fs::exists(root.path())) {
      return;
    }
    for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
      if (entry.path().filename() == "b.mov") {
        EXPECT_EQ(entry.file_size(), byteCount);
        ++seen;
      }
    }
  };
  const std::size_t last = calls();
  for (std::size_t point = 1; point <= last; ++point) {
    runWithInterruption(point, look, [this] { stage(); });
  }
  EXPECT_GT(seen, 0U);
}

TEST_F(StagingFaults, noFurtherFileIsBegunOnceStagingIsCancelled) {
  // Empty files, in the middle of which there is nothing to be cancelled.
  files.clear();
  add("a.png", "");
  add("b.png", "");
  const std::size_t last = countMutatingCalls([this] { service.cleanup(prepare()); });
  std::size_t stopped = 0;
  for (std::size_t point = 1; point <= last; ++point) {
    CancellationSource source;
    const auto stage = [&] {
      service.cleanup(service.prepare(files, true, TimeZone::utc(), source.token()));
    };
    try {
      runWithInterruption(
          point, [&] { source.cancel(); }, stage);
    } catch (const CancellationError&) {
      ++stopped;
    }
    EXPECT_TRUE(nothingIsLeft()) << "call " << point;
  }
  EXPECT_GT(stopped, last / 3) << "while the first file is staged";
  EXPECT_LT(stopped, last);
}

// A video that is copied in three parts.
class StagedVideo : public StagingFaults {
 protected:
  static constexpr std::size_t byteCount = 2'500'000;

  StagedVideo() {
    files.clear();
    add("MOVI0003.AVI", frames);
  }

  // Stages the video, does something before one of the calls, and returns what `look` sees of the batch, or
  // nothing where the staging was cancelled. Passes every other error on.
  template <typename Look>
  auto staged(std::size_t point, const std::function<void(CancellationSource&)>& meanwhile, Look look) {
    writeFile(files.front().url, frames);
    CancellationSource source;
    std::optional<std::invoke_result_t<Look, const PreparedMediaFile&>> seen;
    const auto stage = [&] {
      service.withPreparedBatch(
          files, true, TimeZone::utc(),
          [&](const PreparedMediaBatch& batch) { seen = look(batch.files.at(0)); }, source.token());
    };
    try {
      runWithInterruption(
          point, [&] { meanwhile(source); }, stage);
    } catch (const CancellationError&) {
    }
    EXPECT_TRUE(nothingIsLeft()) << "call " << point;
    return seen;
  }

  std::size_t calls() {
    return countMutatingCalls([this] {
      service.withPreparedBatch(files, true, TimeZone::utc(), [](const PreparedMediaBatch&) {});
    });
  }

  // The copies of videos that there are just now.
  std::vector<fs::path> copies() const {
    std::vector<fs::path> found;
    if (fs::exists(root.path())) {
      for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
        if (entry.path().filename() == "source.avi") {
          found.push_back(entry.path());
        }
      }
    }
    return found;
  }

  const std::string frames = std::string(byteCount, 'f');
};

TEST_F(StagedVideo, isReadNoFurtherOnceCancelled) {
  std::size_t finished = 0;
  const std::size_t last = calls();
  for (std::size_t point = 1; point <= last; ++point) {
    const auto cancelAndShorten = [&](CancellationSource& source) {
      source.cancel();
      fs::resize_file(files.front().url.path(), byteCount - 1);  // reading it to the end would fail
    };
    const auto seen = staged(point, cancelAndShorten, [](const PreparedMediaFile&) { return true; });
    finished += seen ? 1 : 0;
  }
  EXPECT_LT(finished, last / 2) << "once the movie is there, it is used";
}

TEST_F(StagedVideo, hasItsCopyLookedAtNoMoreOnceCancelled) {
  for (std::size_t point = 1; point <= calls(); ++point) {
    const auto cancelAndSpoil = [&](CancellationSource& source) {
      source.cancel();
      for (const fs::path& copy : copies()) {
        fs::remove(copy);
        fs::create_directory(copy);  // reading it would fail
      }
    };
    EXPECT_NO_THROW(staged(point, cancelAndSpoil, [](const PreparedMediaFile&) { return true; }))
        << "call " << point;
  }
}

TEST_F(StagedVideo, isKnownByWhatWasCopiedAndNotByWhatTheCameraHoldsLater) {
  std::size_t finished = 0;
  for (std::size_t point = 1; point <= calls(); point += stepThrough(3)) {
    const auto change = [&](CancellationSource&) {
      writeFile(files.front().url, std::string(byteCount, '?'));
    };
    const auto isConsistent = [](const PreparedMediaFile& file) {
      const std::string movie = readFile(file.importURL);
      const std::string copied = movie.substr(std::string_view("movie of ").size());
      return FileFingerprinter::sha256(bytesOf(copied)) == file.sourceFingerprint;
    };
    const auto seen = staged(point, change, isConsistent);
    EXPECT_NE(seen, false) << "call " << point;
    finished += seen ? 1 : 0;
  }
  EXPECT_GT(finished, 0U);
}

TEST_F(StagedVideo, needsARoomForItsCopyThatCanBeMadeAndClosed) {
  std::vector<std::string> refusedAt;
  std::vector<std::string> failedAt;
  const auto stage = [this] { service.cleanup(prepare()); };
  std::vector<std::string>* noted = nullptr;
  const auto stageAndNote = [&] {
    noted = nullptr;
    try {
      stage();
    } catch (const MediaStagingError& error) {
      EXPECT_EQ(error.kind(), MediaStagingError::Case::invalidStagingLocation);
      noted = &refusedAt;
    } catch (const PosixError&) {
      noted = &failedAt;
    }
  };
  forEachFaultPoint(
      Fault::failing(EIO), [this] { setUp(); }, stageAndNote,
      [&](const FaultOutcome& outcome) {
        if (noted != nullptr) {
          noted->push_back(outcome.call);
        }
      });
  EXPECT_EQ(refusedAt, std::vector<std::string>{"open"});
  EXPECT_EQ(std::ranges::count(failedAt, "close"), 1)
      << "what was written may be lost when the copy is closed";
}

TEST_F(StagingFaults, aVideoThatGrowsBeyondTheLimitWhileItIsCopiedIsRefused) {
  MediaStagingService small(root, std::make_shared<CopyingVideoProcessor>(), 8);
  const CameraMediaFile& video = files.back();
  std::size_t refused = 0;
  for (std::size_t point = 1; point < 40; ++point) {
    writeFile(video.url, "frames");
    try {
      runWithInterruption(
          point, [&] { writeFile(video.url, "frames and more"); },
          [&] { small.cleanup(small.prepare({video}, true, TimeZone::utc())); });
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), CharmeraVideoProcessingError::Case::invalidVideo);
      ++refused;
    }
    EXPECT_TRUE(nothingIsLeft());
  }
  EXPECT_GT(refused, 0U);
}

TEST_F(StagingFaults, aVideoThatGrowsWhileItIsCopiedHasChanged) {
  const FileURL video = (folder / "CARD").appending("MOVI0002.AVI");
  std::size_t refused = 0;
  for (std::size_t point = 1; point < 40; ++point) {
    writeFile(video, "frames");
    try {
      runWithInterruption(
          point, [&] { writeFile(video, "frames and more"); }, [&] { service.cleanup(prepare()); });
    } catch (const MediaStagingError& error) {
      EXPECT_EQ(error.kind(), MediaStagingError::Case::sourceChanged);
      ++refused;
    }
    EXPECT_TRUE(nothingIsLeft());
  }
  EXPECT_GT(refused, 0U);
}

}  // namespace
}  // namespace tolvander::tests
