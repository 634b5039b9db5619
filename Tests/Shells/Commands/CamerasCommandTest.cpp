#include <gtest/gtest.h>

#include <filesystem>

#include "Samples/Bytes.h"
#include "Tests/Shells/CommandLine.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

class CamerasCommandTest : public CommandLine {
 protected:
  FileURL makeCard(std::string_view name) const {
    const FileURL card = folder / name;
    fs::create_directories(card.appending("DCIM").path());
    return card;
  }

  std::string listed() const { return run({"cameras", "list"}).output; }
};

TEST_F(CamerasCommandTest, hasNoneAtFirstAndMakesNoFile) {
  EXPECT_EQ(listed(), "No camera is saved.\n");
  EXPECT_FALSE(fs::exists(home.path()));
}

TEST_F(CamerasCommandTest, remembersAVolumeWithoutSyncingIt) {
  const FileURL card = makeCard("CARD");
  const ToolResult added = run({"cameras", "add", card.path()});
  EXPECT_EQ(added.status, 0) << added.errors;
  EXPECT_EQ(added.output, "“" + card.path() + "” is remembered as a camera.\n");
  EXPECT_TRUE(listed().ends_with("  “CARD”  " + card.path() + "\n")) << listed();
  EXPECT_FALSE(fs::exists(home.appending("pictures").path()));
}

TEST_F(CamerasCommandTest, remembersAVolumeOnce) {
  const FileURL card = makeCard("CARD");
  ASSERT_EQ(run({"cameras", "add", card.path()}).status, 0);
  const std::string before = listed();
  ASSERT_EQ(run({"cameras", "add", card.path()}).status, 0);
  EXPECT_EQ(listed(), before);
}

TEST_F(CamerasCommandTest, tellsThatACameraIsNotHere) {
  const FileURL card = makeCard("CARD");
  ASSERT_EQ(run({"cameras", "add", card.path()}).status, 0);
  fs::remove_all(card.path());
  EXPECT_TRUE(listed().ends_with("  “CARD”  not connected\n")) << listed();
}

TEST_F(CamerasCommandTest, forgetsByNameOrIdentity) {
  ASSERT_EQ(run({"cameras", "add", makeCard("ONE").path()}).status, 0);
  ASSERT_EQ(run({"cameras", "add", makeCard("TWO").path()}).status, 0);
  const ToolResult forgotten = run({"cameras", "forget", "ONE", "--yes"});
  EXPECT_EQ(forgotten.status, 0) << forgotten.errors;
  EXPECT_EQ(forgotten.output, "“ONE” is forgotten.\n");
  const std::string left = listed();
  EXPECT_FALSE(contains(left, "ONE"));
  EXPECT_EQ(run({"cameras", "forget", left.substr(0, left.find(' ')), "--yes"}).status, 0);
  EXPECT_EQ(listed(), "No camera is saved.\n");
}

TEST_F(CamerasCommandTest, forgetsNothingWithoutAnAnswer) {
  ASSERT_EQ(run({"cameras", "add", makeCard("CARD").path()}).status, 0);
  const std::string before = listed();
  const ToolResult result = run({"cameras", "forget", "CARD"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "Pass --yes for “Forget Camera”.\n")) << result.errors;
  EXPECT_EQ(listed(), before);
}

TEST_F(CamerasCommandTest, refusesANameThatIsNotClear) {
  ASSERT_EQ(run({"cameras", "add", makeCard("a/CARD").path()}).status, 0);
  ASSERT_EQ(run({"cameras", "add", makeCard("b/CARD").path()}).status, 0);
  expectFailure({"cameras", "forget", "CARD", "--yes"}, "“CARD” means no saved camera, or more than one.");
  expectFailure({"cameras", "forget", "NONE", "--yes"}, "“NONE” means no saved camera, or more than one.");
}

TEST_F(CamerasCommandTest, givesProgramsTheCameras) {
  const FileURL card = makeCard("CARD");
  const ToolResult added = run({"--json", "cameras", "add", card.path()});
  const ToolResult result = run({"cameras", "list", "--json"});
  EXPECT_EQ(added.output, result.output);
  const JSONDocument document(bytesOf(result.output));
  const auto cameras = document.root().object().required("cameras").array();
  ASSERT_EQ(cameras.size(), 1U);
  EXPECT_EQ(cameras[0].object().required("name").string(), "CARD");
  EXPECT_EQ(cameras[0].object().required("volume").string(), card.path());
  EXPECT_TRUE(cameras[0].object().required("isEnabled").boolean());
}

TEST_F(CamerasCommandTest, refusesWrongUsage) {
  expectWrongUsage({"cameras"});
  expectWrongUsage({"cameras", "add"});
  expectWrongUsage({"cameras", "forget"});
  expectWrongUsage({"cameras", "list", "extra"});
  expectFailure({"cameras", "add", (folder / "nowhere").path()}, "No such file or directory");
}

}  // namespace
}  // namespace tolvander::tests
