#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Samples/TestClip.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Fixtures/SmallCard.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20U;

// The least that shows a file held in memory, with room to spare. Its zeros take no room on the disk but for
// the copies that a sync makes.
constexpr std::uint64_t movieBytes = 600 * mebibyte;

// What the program may use, whatever the size of a file that isn't altered.
class Memory : public CommandLine {
 protected:
  // Of the program without anything to do. The sanitizers' own memory counts with it.
  Memory() : idlePeak_(run({"status"}).peakResidentBytes) {}

  static FileURL made(const FileURL& movie) {
    const FileURL source(movie.path() + ".source.avi");
    writeClip(source, {.frames = 30});
    platformMovieExporter()->exportMovie(
        Movie(source),
        {.destination = movie, .creationDate = "2026-11-20T12:00:00+00:00", .fileLengthLimit = mebibyte}, {});
    fs::remove(source.path());
    return movie;
  }

  // Fills a QuickTime movie up with an atom of free space, of a size in 64 bits (QuickTime File Format).
  static void grow(const FileURL& movie) {
    const std::uint64_t atomBytes = movieBytes - fs::file_size(movie.path());
    std::array<char, 16> header{0, 0, 0, 1, 'f', 'r', 'e', 'e'};
    for (std::size_t index = 0; index < 8; ++index) {
      header[8 + index] = static_cast<char>(atomBytes >> (8 * (7 - index)));
    }
    std::ofstream(movie.path(), std::ios::binary | std::ios::app).write(header.data(), header.size());
    fs::resize_file(movie.path(), movieBytes);
  }

  FileURL largeMovie(const FileURL& movie) const {
    grow(made(movie));
    return movie;
  }

  void expectBounded(const std::vector<std::string>& arguments) const {
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    const std::uint64_t most = (isSanitized ? idlePeak_ : 0) + 96 * mebibyte;
    ASSERT_LT(idlePeak_, most) << "this process was too large already when it started the program";
    EXPECT_LT(result.peakResidentBytes, most) << testing::PrintToString(arguments);
    RecordProperty(arguments.front() + "_peak_MiB", std::to_string(result.peakResidentBytes / mebibyte));
  }

  const FileURL card = folder / "CARD";

 private:
  std::uint64_t idlePeak_;
};

TEST_F(Memory, ofPlanningIsBounded) {
  const FileURL movie = largeMovie(folder / "a.mov");
  expectBounded({"plan", movie.path()});
  const FileURL video = folder / "a.avi";
  fs::rename(movie.path(), video.path());
  expectBounded({"plan", video.path()});
  const FileURL picture = folder / "a.jpg";
  fs::rename(video.path(), picture.path());
  expectBounded({"plan", picture.path(), "--not-charmera", "--output", (folder / "copy.jpg").path()});
}

TEST_F(Memory, ofScanningIsBounded) {
  makeSmallCard(card);
  largeMovie(onSmallCard(card, "a.mov"));
  expectBounded({"scan", card.path(), "--fingerprints"});
}

TEST_F(Memory, ofSyncingIsBounded) {
  makeSmallCard(card);
  largeMovie(onSmallCard(card, "a.mov"));
  expectBounded({"sync", card.path(), "--yes"});
  std::uint64_t imported = 0;
  for (const auto& entry : fs::recursive_directory_iterator(home.appending("pictures").path())) {
    imported += entry.is_regular_file() && entry.path().extension() == ".mov" ? entry.file_size() : 0;
  }
  EXPECT_EQ(imported, movieBytes);
}

}  // namespace
}  // namespace tolvander::tests
