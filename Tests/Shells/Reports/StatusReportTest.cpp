#include "Shells/CommandLine/Reports/StatusReport.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::app {
namespace {

StatusReport reportAtWork() {
  StatusReport report;
  report.isSetUp = true;
  report.holder = HomeHolder{.process = 4711, .command = "tolvanderctl"};
  report.photos = PhotosPermissionStatus::authorized;
  report.cameras.cameras = {{.grant = {}, .volume = FileURL("/media/CARD")},
                            {.grant = {}, .volume = std::nullopt}};
  report.history = ImportHistorySummary{.uniquePhotoCount = 12, .uniqueVideoCount = 1};
  report.lastSync = LastSyncReceipt{.count = 3,
                                    .deviceName = "CARD",
                                    .completedAt = dateFromISO8601("2026-11-15T19:13:17Z").value(),
                                    .videoCount = 1};
  report.album = "Summer";
  report.movesToTrash = true;
  return report;
}

TEST(StatusReport, tellsPeopleHowThingsStand) {
  const std::string text = reportAtWork().text();
  EXPECT_TRUE(
      text.starts_with("Setup                complete\n"
                       "At work now          tolvanderctl (process 4711)\n"
                       "Cameras              2 saved, 1 connected\n"
                       "Imported             12 photos and 1 video\n"
                       "Last sync            2026-11-15T19:13:17Z, 2 photos and 1 video from “CARD”\n"
                       "Album                Summer\n"
                       "Moves to the Trash   yes\n"
                       "Ejects               no\n"))
      << text;
}

TEST(StatusReport, tellsWhatIsMissing) {
  StatusReport report;
  report.photos = PhotosPermissionStatus::denied;
  report.libraryFolder = FileURL("/p");
  report.cameras.problem = "They can’t be read.";
  const std::string text = report.text();
  EXPECT_NE(text.find("not complete: run tolvanderctl sync VOLUME\n"), std::string::npos) << text;
  EXPECT_NE(text.find("the import history cannot be read\n"), std::string::npos) << text;
  EXPECT_NE(text.find("/p (cannot be changed)\n"), std::string::npos) << text;
  EXPECT_NE(text.find("They can’t be read.\n"), std::string::npos) << text;
  report.libraryProblem = "its catalogue is missing";
  EXPECT_NE(report.text().find("/p (cannot be used: its catalogue is missing)\n"), std::string::npos);
  const JSONDocument document(tests::bytesOf(report.json()));
  EXPECT_EQ(document.root().object().required("libraryProblem").string(), "its catalogue is missing");
}

TEST(StatusReport, tellsOfPausedImportsAndOfFilesThatAreSetAside) {
  StatusReport report;
  EXPECT_EQ(report.text().find("Paused imports"), std::string::npos);
  EXPECT_EQ(report.text().find("Set aside"), std::string::npos);
  report.finishedByNextSync = 2;
  report.pausedFiles = {{.camera = "CARD", .relativePath = "DCIM/C.JPG"},
                        {.camera = "A\nB", .relativePath = "D.JPG"}};
  report.pausedElsewhere = 1;
  report.setAside = {"DCIM/A.JPG", "DCIM/B.JPG"};
  const std::string text = report.text();
  EXPECT_NE(text.find("Cut short            2 imports, which the next sync of their card finishes\n"
                      "Paused imports       “CARD”: DCIM/C.JPG\n"
                      "                     “A\uFFFDB”: D.JPG\n"
                      "                     1 file that was not found on a connected camera\n"
                      "                     To import the card’s other files, set such a file aside: "
                      "tolvanderctl set-aside VOLUME FILE\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Set aside            DCIM/A.JPG\n                     DCIM/B.JPG\n"),
            std::string::npos)
      << text;
  const std::string json = report.json();
  const JSONDocument document(tests::bytesOf(json));
  EXPECT_EQ(document.root().object().required("finishedByNextSync").integer(), 2);
  EXPECT_EQ(document.root().object().required("pausedElsewhere").integer(), 1);
  const JSONObject paused = document.root().object().required("pausedFiles").array().at(1).object();
  EXPECT_EQ(paused.required("camera").string(), "A\nB");
  EXPECT_EQ(paused.required("relativePath").string(), "D.JPG");
  EXPECT_EQ(document.root().object().required("setAside").array().size(), 2U);
}

TEST(StatusReport, tellsWhatIsReadToNamePausedImports) {
  EXPECT_EQ(pausedFileProgressText("A\nB", 12, 304),
            "Looking for paused imports on “A\uFFFDB”: file 12 of 304");
}

TEST(StatusReport, advisesToSetAsideOnlyFilesThatItNames) {
  StatusReport report;
  report.pausedElsewhere = 2;
  EXPECT_NE(report.text().find("Paused imports       2 files that were not found on a connected camera\n"
                               "Last sync "),
            std::string::npos)
      << report.text();
}

TEST(StatusReport, givesProgramsAnObject) {
  const JSONDocument document(tests::bytesOf(reportAtWork().json()));
  const JSONObject status = document.root().object();
  EXPECT_TRUE(status.required("isSetUp").boolean());
  EXPECT_EQ(status.required("holder").object().required("process").integer(), 4711);
  EXPECT_EQ(status.required("savedCameras").integer(), 2);
  EXPECT_EQ(status.required("connectedCameras").integer(), 1);
  EXPECT_EQ(status.required("lastSync").object().required("videoCount").integer(), 1);
  EXPECT_EQ(status.required("album").string(), "Summer");
  const JSONDocument empty(tests::bytesOf(StatusReport().json()));
  for (const char* key : {"holder", "history", "lastSync", "album", "libraryProblem"}) {
    EXPECT_TRUE(empty.root().object().required(key).isNull()) << key;
  }
}

}  // namespace
}  // namespace tolvander::app
