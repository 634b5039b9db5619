#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"

namespace tolvander::tests {
namespace {

class EjectCommandTest : public CommandLine {
 protected:
  void syncCard() const {
    writeSampleCard(card, {.photos = 1, .videos = 0});
    const ToolResult result = run({"sync", card.path(), "--yes"});
    ASSERT_EQ(result.status, 0) << result.errors;
  }

  const FileURL card = folder / "CARD";
};

TEST_F(EjectCommandTest, saysThatAFolderIsOnNoDriveThatCanBeEjected) {
  syncCard();
  const ToolResult result = run({"eject", card.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.output, "Ejecting CARD…\nEject needs attention\n")) << result.output;
  EXPECT_EQ(result.errors,
            "tolvanderctl: CARD could not be ejected: It isn’t on a drive that can be ejected.\n");
}

TEST_F(EjectCommandTest, tellsProgramsOfAFailure) {
  syncCard();
  const ToolResult result = run({"--json", "eject", card.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.output, R"({"result":{"outcome":"failed","status":"Eject needs attention",)"))
      << result.output;
}

TEST_F(EjectCommandTest, leavesVolumesAloneThatAreNoSavedCamera) {
  syncCard();
  const FileURL other = folder / "OTHER";
  writeSampleCard(other, {.photos = 1, .videos = 0});
  const ToolResult result = run({"eject", other.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "is no saved camera that is connected.")) << result.errors;
  EXPECT_FALSE(contains(result.output, "Ejecting")) << result.output;
}

TEST_F(EjectCommandTest, saysThatSetupComesFirst) {
  writeSampleCard(card, {.photos = 1, .videos = 0});
  EXPECT_EQ(run({"eject", card.path()}).errors,
            "tolvanderctl: Tolvander isn’t set up yet. A first sync does that: tolvanderctl sync VOLUME\n");
}

TEST_F(EjectCommandTest, refusesWrongUsage) {
  expectWrongUsage({"eject"});
  expectWrongUsage({"eject", "a", "b"});
  expectFailure({"eject", card.path()}, "No such file or directory");
}

}  // namespace
}  // namespace tolvander::tests
