#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Samples/Bytes.h"
#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Application/LibraryEdits.h"
#include "Tests/Support/Application/TrashScene.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

class TrashCommandTest : public CommandLine {
 protected:
  // A card whose files have all been moved to its Trash.
  void trashCard(unsigned photos) const {
    writeSampleCard(card, {.photos = photos, .videos = 0});
    const ToolResult result = run({"sync", card.path(), "--yes", "--trash", "yes"});
    ASSERT_EQ(result.status, 0) << result.errors;
    ASSERT_EQ(namesIn(photosOnCard), Names());
  }

  const FileURL card = folder / "CARD";
  const FileURL photosOnCard = card.appending("DCIM/100CHRM");
  const FileURL trash = card.appending(".Trash-" + std::to_string(getuid()) + "/files");
};

TEST_F(TrashCommandTest, listsWhatLiesThere) {
  EXPECT_EQ(run({"trash", "list"}).output, "No camera file lies in the Trash.\n");
  trashCard(2);
  const ToolResult result = run({"trash", "list"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(result.output.starts_with("“CARD”: 2 files in the Trash\n20")) << result.output;
  EXPECT_TRUE(contains(result.output, "Z      924 KB  PICT0001.JPG\n")) << result.output;

  const JSONDocument document(bytesOf(run({"--json", "trash", "list"}).output));
  const JSONObject camera = document.root().object().required("cameras").array().at(0).object();
  EXPECT_EQ(camera.required("name").string(), "CARD");
  const auto files = camera.required("files").array();
  ASSERT_EQ(files.size(), 2U);
  EXPECT_EQ(files[0].object().required("filename").string(), "PICT0001.JPG");
  EXPECT_EQ(files[0].object().required("byteCount").integer(), 923'657);
  EXPECT_NO_THROW(static_cast<void>(files[0].object().required("trashedAt").iso8601Date()));
}

TEST_F(TrashCommandTest, listsFilesThatCannotBeReachedAsNotHere) {
  trashCard(2);
  fs::remove(trash.appending("PICT0001.JPG").path());
  EXPECT_TRUE(contains(run({"trash", "list"}).output, "    not here  PICT0001.JPG\n"));
  fs::rename(card.path(), (folder / "AWAY").path());
  EXPECT_TRUE(contains(run({"trash", "list"}).output, "    not here  PICT0002.JPG\n"));
}

TEST_F(TrashCommandTest, putsFilesBackOnlyWithTheUsersWord) {
  trashCard(3);
  const ToolResult unanswered = run({"trash", "restore"});
  EXPECT_EQ(unanswered.status, 1);
  EXPECT_EQ(unanswered.errors,
            "Put 3 files back on “CARD”? Nobody can be asked here, so the answer is “Cancel”. Pass --yes for "
            "“Put Back”.\n");
  EXPECT_EQ(namesIn(photosOnCard), Names());

  const ToolResult one = run({"trash", "restore", "PICT0002.JPG", "--yes"});
  EXPECT_EQ(one.status, 0) << one.errors;
  EXPECT_TRUE(one.output.ends_with("1 file restored to the camera\n")) << one.output;
  EXPECT_EQ(namesIn(photosOnCard), Names{"PICT0002.JPG"});

  EXPECT_EQ(run({"trash", "restore", "--yes"}).status, 0);
  EXPECT_EQ(namesIn(photosOnCard), (Names{"PICT0001.JPG", "PICT0002.JPG", "PICT0003.JPG"}));
  EXPECT_EQ(run({"trash", "list"}).output, "No camera file lies in the Trash.\n");
}

TEST_F(TrashCommandTest, putsNothingBackWhereOneNameIsUnknown) {
  trashCard(2);
  const ToolResult result = run({"trash", "restore", "PICT0001.JPG", "other.jpg", "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors,
            "tolvanderctl: Nothing was put back: no connected camera has “other.jpg” in its Trash.\n");
  EXPECT_EQ(namesIn(photosOnCard), Names());
}

TEST_F(TrashCommandTest, failsForAFileWhosePlaceIsTaken) {
  trashCard(1);
  writeFile(photosOnCard.appending("PICT0001.JPG"), "new");
  const ToolResult result = run({"trash", "restore", "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "tolvanderctl: Some tracked files could not be restored."))
      << result.errors;
  EXPECT_EQ(readFile(photosOnCard.appending("PICT0001.JPG")), "new");
  EXPECT_EQ(namesIn(trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashCommandTest, clearsOnlyWithTheUsersWord) {
  trashCard(2);
  const ToolResult unanswered = run({"trash", "clear"});
  EXPECT_EQ(unanswered.status, 1);
  EXPECT_EQ(unanswered.errors,
            "Permanently delete 2 trashed files? Nobody can be asked here, so the answer is “Cancel”. Pass "
            "--yes for “Clear Trash”.\n");
  EXPECT_TRUE(contains(unanswered.output, "Camera files kept in Trash\n")) << unanswered.output;
  EXPECT_EQ(namesIn(trash).size(), 2U);

  const ToolResult cleared = run({"--json", "trash", "clear", "--yes"});
  EXPECT_EQ(cleared.status, 0) << cleared.errors;
  EXPECT_TRUE(
      cleared.output.ends_with("{\"result\":{\"outcome\":\"done\",\"status\":\"2 camera files cleared from "
                               "Trash\",\"failure\":null}}\n"))
      << cleared.output;
  EXPECT_EQ(namesIn(trash), Names());
  const ToolResult again = run({"trash", "clear", "--yes"});
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.output, "No connected camera has files of ours in its Trash.\n");
}

TEST_F(TrashCommandTest, deletesNothingThatTheLibraryHasLost) {
  trashCard(2);
  ASSERT_EQ(deleteFromLibrary(home.appending("pictures/Tolvander"), "PICT0001.JPG"), 1);
  const ToolResult result = run({"trash", "clear", "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "Some of these items no longer appear in Photos. Nothing was "))
      << result.errors;
  EXPECT_EQ(namesIn(trash).size(), 2U);
}

TEST_F(TrashCommandTest, deletesNothingThatTheLibraryHoldsWithOtherContent) {
  trashCard(2);
  const auto originals = originalsInLibrary(home.appending("pictures/Tolvander"), "PICT0001.JPG");
  ASSERT_EQ(originals.size(), 1U);
  std::string bytes = readFile(originals.front());
  std::fill(bytes.end() - 1000, bytes.end(), '\0');
  writeFile(originals.front(), bytes);
  const ToolResult result = run({"trash", "clear", "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors,
                       "Some of these items no longer appear in Photos. 1 file was permanently deleted; "))
      << result.errors;
  EXPECT_EQ(namesIn(trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashCommandTest, leavesTheTrashOfACameraThatIsNotHere) {
  trashCard(1);
  fs::rename(card.path(), (folder / "AWAY").path());
  const ToolResult cleared = run({"trash", "clear", "--yes"});
  EXPECT_EQ(cleared.status, 0) << cleared.errors;
  EXPECT_TRUE(cleared.output.ends_with("No connected camera has files of ours in its Trash.\n"))
      << cleared.output;
  EXPECT_EQ(run({"trash", "restore", "PICT0001.JPG", "--yes"}).status, 1);
  fs::rename((folder / "AWAY").path(), card.path());
  EXPECT_EQ(namesIn(trash), Names{"PICT0001.JPG"});
}

TEST_F(TrashCommandTest, refusesWrongUsage) {
  expectWrongUsage({"trash"});
  expectWrongUsage({"trash", "list", "extra"});
  expectWrongUsage({"trash", "clear", "PICT0001.JPG"});
}

TEST_F(TrashCommandTest, saysThatSetupComesFirst) {
  const ToolResult result = run({"trash", "clear", "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "tolvanderctl: Tolvander isn’t set up yet.")) << result.errors;
}

}  // namespace
}  // namespace tolvander::tests
