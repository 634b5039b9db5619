#include <gtest/gtest.h>

#include <filesystem>

#include "Samples/Bytes.h"
#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Application/CatalogueFiles.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

class StatusCommandTest : public CommandLine {
 protected:
  void sync() const {
    writeSampleCard(folder / "CARD", {.photos = 2, .videos = 1});
    ASSERT_EQ(run({"sync", (folder / "CARD").path(), "--yes"}).status, 0);
  }
};

TEST_F(StatusCommandTest, showsAFreshHomeWithoutMakingIt) {
  const ToolResult result = run({"status"});
  EXPECT_EQ(result.status, 0) << result.errors;
  const std::string files = "Photo library        " + home.path() +
                            "/pictures/Tolvander (not made yet)\n"
                            "Import history       " +
                            home.path() +
                            "/data/Tolvander/history.json\n"
                            "Settings             " +
                            home.path() +
                            "/config/com.tolvander.app/defaults.json\n"
                            "Log                  " +
                            home.path() + "/logs/Tolvander\n";
  EXPECT_EQ(result.output,
            "Setup                not complete: run tolvanderctl sync VOLUME\n"
            "At work now          nobody\n"
            "Cameras              0 saved, 0 connected\n"
            "Imported             0 items\n"
            "Last sync            none\n"
            "Album                none\n"
            "Moves to the Trash   no\n"
            "Ejects               no\n" +
                files);
  EXPECT_FALSE(fs::exists(home.path()));
}

TEST_F(StatusCommandTest, showsWhatASyncLeft) {
  sync();
  const std::string text = run({"status"}).output;
  EXPECT_TRUE(contains(text, "Setup                complete\n")) << text;
  EXPECT_TRUE(contains(text, "Cameras              1 saved, 1 connected\n")) << text;
  EXPECT_TRUE(contains(text, "Imported             2 photos and 1 video\n")) << text;
  EXPECT_TRUE(contains(text, ", 2 photos and 1 video from “CARD”\n")) << text;
  EXPECT_TRUE(contains(text, "pictures/Tolvander (ready)\n")) << text;
}

TEST_F(StatusCommandTest, saysThatTheHistoryCannotBeRead) {
  writeFile(home.appending("data/Tolvander/history.json"), "broken");
  EXPECT_TRUE(contains(run({"status"}).output, "Imported             the import history cannot be read\n"));
}

TEST_F(StatusCommandTest, tellsOfPausedImportsAlsoWhereTheLibraryCannotBeRead) {
  sync();
  SyncHistoryStore(home.appending("data/Tolvander/history.json")).beginImport({"a source"});
  breakCatalogue(home.appending("pictures/Tolvander"));
  const std::string text = run({"status"}).output;
  EXPECT_TRUE(contains(text, "Paused imports       1 file that was not found on a connected camera\n"))
      << text;
}

TEST_F(StatusCommandTest, givesProgramsADocument) {
  sync();
  const JSONDocument document(bytesOf(run({"status", "--json"}).output));
  const JSONObject status = document.root().object();
  EXPECT_TRUE(status.required("isSetUp").boolean());
  EXPECT_TRUE(status.required("holder").isNull());
  EXPECT_EQ(status.required("photos").string(), "authorized");
  EXPECT_EQ(status.required("connectedCameras").integer(), 1);
  EXPECT_EQ(status.required("history").object().required("videos").integer(), 1);
  EXPECT_NO_THROW(
      static_cast<void>(status.required("lastSync").object().required("completedAt").iso8601Date()));
}

TEST_F(StatusCommandTest, showsTheLog) {
  EXPECT_EQ(run({"log"}).output, "Nothing has been logged.\n");
  EXPECT_EQ(run({"log", "--files"}).output, "There is no log file yet.\n");
  sync();
  const std::string text = run({"log"}).output;
  EXPECT_LT(text.find("  appLaunched"), text.find("  syncStarted  camera_files=3\n")) << text;
  EXPECT_TRUE(contains(text, "  imported=3  ")) << text;
  EXPECT_TRUE(contains(text, "  appTerminated\n")) << text;
  EXPECT_EQ(run({"log", "--files"}).output, home.appending("logs/Tolvander/Tolvander.log").path() + "\n");
}

TEST_F(StatusCommandTest, givesProgramsTheLog) {
  EXPECT_TRUE(JSONDocument(bytesOf(run({"--json", "log"}).output)).root().array().empty());
  sync();
  const JSONDocument lines(bytesOf(run({"--json", "log"}).output));
  EXPECT_EQ(lines.root().array().front().object().required("event").string(), "appLaunched");
  const JSONDocument files(bytesOf(run({"--json", "log", "--files"}).output));
  EXPECT_EQ(files.root().object().required("files").array().size(), 1U);
}

}  // namespace
}  // namespace tolvander::tests
