#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>

#include "Samples/Bytes.h"
#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

class LibraryCommandTest : public CommandLine {
 protected:
  void sync(std::vector<std::string> options = {}) const {
    writeSampleCard(folder / "CARD", {.photos = 3, .videos = 1});
    options.insert(options.begin(), {"sync", (folder / "CARD").path(), "--yes"});
    ASSERT_EQ(run(options).status, 0);
  }

  // Path of the library's file of a name.
  FileURL original(const std::string& name) const {
    for (const auto& entry : fs::recursive_directory_iterator(originals.path())) {
      if (entry.path().filename() == name) {
        return FileURL(entry.path().string());
      }
    }
    throw std::runtime_error(name + " isn't there");
  }

  std::vector<std::string> assets(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"library", "assets"});
    std::istringstream output(run(options).output);
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  const FileURL originals = home.appending("pictures/Tolvander/Originals");
};

TEST_F(LibraryCommandTest, saysThatThereIsNoneAndMakesNone) {
  for (const char* which : {"assets", "albums", "verify"}) {
    EXPECT_EQ(run({"library", which}).status, 0);
  }
  const ToolResult result = run({"library"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output, "It has not been made yet. The first sync makes it.\n"));
  EXPECT_FALSE(fs::exists(home.path()));
}

TEST_F(LibraryCommandTest, countsWhatIsThere) {
  sync({"--album", "Summer"});
  const ToolResult result = run({"library"});
  EXPECT_TRUE(contains(result.output, "\n3 photos and 1 video, ")) << result.output;
  EXPECT_TRUE(contains(result.output, ", 1 album\n")) << result.output;
}

TEST_F(LibraryCommandTest, listsAssetsNewestFirstWithWhereTheyAre) {
  sync();
  const auto lines = assets();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_TRUE(std::ranges::is_sorted(lines, std::ranges::greater(), [](const std::string& line) {
    return line.substr(0, 20);
  })) << testing::PrintToString(lines);
  EXPECT_TRUE(std::ranges::any_of(lines, [&](const std::string& line) {
    return line.ends_with("  PICT0001.JPG  " + original("PICT0001.JPG").path());
  })) << testing::PrintToString(lines);
}

TEST_F(LibraryCommandTest, listsWhatIsAskedFor) {
  sync({"--album", "Summer"});
  const auto all = assets();
  const std::string newest = all.front().substr(0, 20);
  EXPECT_EQ(assets({"--limit", "2"}), std::vector(all.begin(), all.begin() + 2));
  EXPECT_EQ(assets({"--from", newest}).size(), 1U);
  EXPECT_EQ(assets({"--to", newest}).size(), all.size());
  EXPECT_EQ(assets({"--from", newest, "--to", "2026-01-01T00:00:00Z"}).size(), 0U);
  EXPECT_EQ(assets({"--album", "Summer"}), all);
  expectFailure({"library", "assets", "--album", "Winter"}, "There is no album “Winter”.");
}

TEST_F(LibraryCommandTest, listsAlbumsWithTheirSizes) {
  sync({"--album", "Summer"});
  EXPECT_EQ(run({"library", "albums"}).output, "“Summer”  4 items\n");
}

TEST_F(LibraryCommandTest, verifiesEveryFile) {
  sync();
  const ToolResult sound = run({"library", "verify"});
  EXPECT_EQ(sound.status, 0) << sound.output;
  EXPECT_EQ(sound.output, "4 items, 4 files: everything is there.\n");
  const FileURL missing = original("PICT0001.JPG");
  const FileURL altered = original("PICT0002.JPG");
  const FileURL damaged = original("PICT0003.JPG");
  fs::remove(missing.path());
  fs::resize_file(altered.path(), 10);
  std::string bytes = readFile(damaged);
  std::fill(bytes.end() - 1000, bytes.end(), '\0');
  writeFile(damaged, bytes);
  const ToolResult quick = run({"library", "verify", "--quick"});
  EXPECT_EQ(quick.status, 3);
  EXPECT_TRUE(contains(quick.output, "Only sizes were compared.\n")) << quick.output;
  EXPECT_FALSE(contains(quick.output, "damaged")) << quick.output;
  const ToolResult result = run({"library", "verify"});
  EXPECT_EQ(result.status, 3);
  const auto remedy = [](const std::string& name) {
    return "“" + name +
           "” brings it back if it is still on the camera: tolvanderctl restore with that camera.\n";
  };
  EXPECT_TRUE(result.output.starts_with("4 items, 4 files: something is wrong.\nmissing    " +
                                        missing.path() + "\n           " + remedy("PICT0001.JPG") +
                                        "altered    " + altered.path() + ": 10 bytes instead of "))
      << result.output;
  EXPECT_TRUE(
      result.output.ends_with("\n           " + remedy("PICT0002.JPG") + "damaged    " + damaged.path() +
                              ": its content isn't what it was\n           Move it out of the library "
                              "first. " +
                              remedy("PICT0003.JPG")))
      << result.output;
}

TEST_F(LibraryCommandTest, givesProgramsDocuments) {
  sync({"--album", "Summer"});
  const auto object = [&](std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    return std::make_shared<JSONDocument>(bytesOf(run(arguments).output));
  };
  const auto library = object({"library"});
  EXPECT_EQ(library->root().object().required("photos").integer(), 3);
  EXPECT_EQ(library->root().object().required("videos").integer(), 1);
  EXPECT_GT(library->root().object().required("bytes").integer(), 0);
  const auto listed = object({"library", "assets"});
  const auto listedAssets = listed->root().object().required("assets").array();
  ASSERT_EQ(listedAssets.size(), 4U);
  EXPECT_TRUE(fs::exists(listedAssets[0].object().required("file").string()));
  const auto albums = object({"library", "albums"});
  EXPECT_EQ(albums->root().object().required("albums").array()[0].object().required("title").string(),
            "Summer");
  EXPECT_TRUE(object({"library", "verify"})->root().object().required("isSound").boolean());
}

TEST_F(LibraryCommandTest, refusesWrongUsage) {
  expectWrongUsage({"library", "assets", "--limit", "0"});
  expectWrongUsage({"library", "assets", "--from", "yesterday"});
  expectWrongUsage({"library", "unknown"});
  expectWrongUsage({"library", "albums", "verify"});
}

}  // namespace
}  // namespace tolvander::tests
