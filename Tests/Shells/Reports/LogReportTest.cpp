#include "Shells/CommandLine/Reports/LogReport.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::app {
namespace {

class LogReportTest : public testing::Test {
 protected:
  LogReport report() const { return LogReport::of(log); }

  tests::TemporaryFolder folder;
  DiagnosticLog log{folder / "logs"};
};

TEST_F(LogReportTest, hasNothingToTellAtFirst) {
  EXPECT_EQ(report().text(), "Nothing has been logged.\n");
  EXPECT_EQ(report().textOfFiles(), "There is no log file yet.\n");
  const JSONDocument document(tests::bytesOf(report().json()));
  EXPECT_TRUE(document.root().array().empty());
}

TEST_F(LogReportTest, tellsEventsWithTheirMetricsOldestFirst) {
  log.record(DiagnosticLog::Event::syncStarted, {{"camera_files", 12}});
  log.record(DiagnosticLog::Event::syncCancelled);
  const std::string text = report().text();
  const std::size_t first = text.find("  syncStarted  camera_files=12\n");
  ASSERT_NE(first, std::string::npos) << text;
  EXPECT_LT(first, text.find("  syncCancelled\n"));
  EXPECT_EQ(text.find('T'), 10U);  // "2026-03-14T…"
}

TEST_F(LogReportTest, readsOlderFilesFirst) {
  DiagnosticLog small(folder / "small", 256, 4);
  for (int index = 0; index < 6; ++index) {
    small.record(DiagnosticLog::Event::syncStarted, {{"camera_files", index}});
  }
  const LogReport report = LogReport::of(small);
  EXPECT_GT(report.files.size(), 1U);
  EXPECT_EQ(report.files.front().lastPathComponent(), "Tolvander.log");
  EXPECT_LT(report.text().find("camera_files=4"), report.text().find("camera_files=5"));
}

TEST_F(LogReportTest, leavesOutWhatIsNoLineOfOurs) {
  log.record(DiagnosticLog::Event::appLaunched);
  const FileURL file = report().files.front();
  const std::string line = tests::readFile(file);
  tests::writeFile(file, "{\n\"text\"\n[1]\n{\"event\":5}\n" + line + "{\"event\":\"cut");
  EXPECT_EQ(report().lines.size(), 1U);
}

TEST_F(LogReportTest, givesProgramsTheLinesAsTheyAre) {
  log.record(DiagnosticLog::Event::syncStarted, {{"camera_files", 12}});
  log.record(DiagnosticLog::Event::syncCancelled);
  const JSONDocument document(tests::bytesOf(report().json()));
  const auto events = document.root().array();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].object().required("metrics").object().required("camera_files").integer(), 12);
  const JSONDocument files(tests::bytesOf(report().jsonOfFiles()));
  EXPECT_EQ(files.root().object().required("files").array()[0].string(),
            (folder / "logs/Tolvander.log").path());
}

}  // namespace
}  // namespace tolvander::app
