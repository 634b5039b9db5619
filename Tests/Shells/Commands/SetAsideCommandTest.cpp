#include <filesystem>

#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

// A card with two pictures and two damaged files.
class SetAsideCommandTest : public CommandLine {
 protected:
  SetAsideCommandTest() {
    writeSampleCard(card, {.photos = 2, .videos = 0});
    writeFile(card.appending("DCIM/100CHRM/MOVI0009.AVI"), "no film");
    writeFile(card.appending("DCIM/100CHRM/PICT0099.JPG"), "no picture");
  }

  std::string libraryText() const { return run({"library"}).output; }

  const FileURL card = folder / "CARD";
  const std::string film = "DCIM/100CHRM/MOVI0009.AVI";
  const std::string picture = "DCIM/100CHRM/PICT0099.JPG";
};

TEST_F(SetAsideCommandTest, scanFindsEveryBadFileAtOnce) {
  const ToolResult result = run({"scan", card.path(), "--verify"});
  EXPECT_EQ(result.status, 3) << result.errors;
  EXPECT_TRUE(contains(result.output, "  MOVI0009.AVI: This video could not be read.")) << result.output;
  EXPECT_TRUE(contains(result.output, "  PICT0099.JPG: This picture is damaged:")) << result.output;
  EXPECT_TRUE(contains(result.output, "2 files cannot be imported.\n")) << result.output;
  EXPECT_FALSE(fs::exists(home.appending("pictures").path())) << "nothing is imported";
  const ToolResult json = run({"--json", "scan", card.path(), "--verify"});
  const JSONDocument document(bytesOf(json.output));
  int failures = 0;
  for (const JSONValue& file : document.root().object().required("files").array()) {
    failures += file.object().optionalString("failure") ? 1 : 0;
  }
  EXPECT_EQ(failures, 2);
}

TEST_F(SetAsideCommandTest, syncNamesTheFileThatStopsIt) {
  const ToolResult result = run({"sync", card.path(), "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors,
            "tolvanderctl: MOVI0009.AVI: This video could not be read. The camera original is unchanged. Try "
            "Check Now again.\n");
  EXPECT_FALSE(contains(readFile(home.appending("logs/Tolvander/Tolvander.log")), "MOVI0009"));
  fs::remove(card.appending(film).path());
  const ToolResult staged = run({"sync", card.path()});
  EXPECT_TRUE(contains(staged.errors, "tolvanderctl: PICT0099.JPG: This picture is damaged"))
      << staged.errors;
}

TEST_F(SetAsideCommandTest, letsTheOtherFilesOfTheCardBeImportedAndNamesWhatIsLeftOut) {
  EXPECT_EQ(run({"set-aside", card.path(), "MOVI0009.AVI", picture}).status, 0);
  const ToolResult listed = run({"set-aside", "--list"});
  EXPECT_TRUE(contains(listed.output, film + "  (")) << listed.output;
  EXPECT_TRUE(contains(listed.output, picture + "  (")) << listed.output;

  const ToolResult synced = run({"sync", card.path(), "--yes"});
  EXPECT_EQ(synced.status, 0) << synced.errors;
  EXPECT_TRUE(contains(synced.output, "“CARD”: 2 photos imported\n“CARD”: 2 files are set aside: " + film +
                                          " " + picture + "\n"))
      << synced.output;
  EXPECT_TRUE(contains(run({"check"}).output, "“CARD”: 2 files are set aside: " + film));
  EXPECT_TRUE(contains(run({"status"}).output, "Set aside            " + film + "\n"));
  EXPECT_TRUE(contains(run({"--json", "status"}).output, "MOVI0009.AVI"));
  EXPECT_EQ(run({"scan", card.path(), "--verify"}).status, 0) << "what is set aside counts as settled";
  EXPECT_TRUE(contains(run({"scan", card.path()}).output, film + "  (set aside)\n"));
}

TEST_F(SetAsideCommandTest, comesBackWhenItIsUndone) {
  ASSERT_EQ(run({"set-aside", card.path(), film, picture}).status, 0);
  EXPECT_EQ(run({"set-aside", card.path(), "PICT0099.JPG", film, "--undo"}).status, 0);
  EXPECT_EQ(run({"set-aside", "--list"}).output, "No file is set aside.\n");
  EXPECT_TRUE(contains(run({"sync", card.path(), "--yes"}).errors, "MOVI0009.AVI: "));
}

TEST_F(SetAsideCommandTest, anotherFileInItsPlaceIsImported) {
  ASSERT_EQ(run({"set-aside", card.path(), film, picture}).status, 0);
  fs::copy_file(card.appending("DCIM/100CHRM/PICT0001.JPG").path(), card.appending(picture).path(),
                fs::copy_options::overwrite_existing);
  writeFile(card.appending(picture), readFile(card.appending(picture)) + "trailing");
  EXPECT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  EXPECT_FALSE(contains(run({"check"}).output, picture)) << run({"check"}).output;
}

TEST_F(SetAsideCommandTest, refusesWhatItDoesNotKnow) {
  expectFailure({"set-aside", card.path(), "NOTHERE.JPG"}, "“NOTHERE.JPG” is no media file of this volume.");
  expectFailure({"set-aside", card.path(), film, "--undo"}, "is not set aside.");
  expectWrongUsage({"set-aside"});
  expectWrongUsage({"set-aside", card.path()});
  expectWrongUsage({"set-aside", "--list", card.path()});
}

}  // namespace
}  // namespace tolvander::tests
