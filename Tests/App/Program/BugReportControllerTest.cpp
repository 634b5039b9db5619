#include "TolvanderApp/Program/BugReportController.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/Doubles/TestScreen.h"
#include "Tests/Support/Doubles/TestWindow.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {
namespace {

using Files = std::vector<FileURL>;

constexpr std::size_t showLogs = 0;
constexpr std::size_t copyEmail = 1;
constexpr std::size_t cancel = 2;

class BugReportController : public testing::Test {
 protected:
  void show() {
    controller.show();
    mainThread.runUntilIdle();
  }

  // Puts a file where the log's folder would be.
  void makeLogUnusable() { writeFile(folder / "Logs", "in the way"); }

  const app::AlertPanel& panel() const { return panels.shown.back(); }

  TemporaryFolder folder;
  VirtualMainThread mainThread;
  TestApplication application;
  OpenPanels panels;
  RecordedFileViewer fileViewer;
  TestClipboard clipboard;
  std::shared_ptr<DiagnosticLog> log = std::make_shared<DiagnosticLog>(folder / "Logs");
  app::BugReportController controller{{.mainThread = mainThread,
                                       .application = application,
                                       .panels = panels,
                                       .fileViewer = fileViewer,
                                       .clipboard = clipboard},
                                      log,
                                      "help@example.org"};
};

TEST_F(BugReportController, saysWhereToReportAndThatTheLogsAreThere) {
  show();
  ASSERT_EQ(panels.shown.size(), 1U);
  EXPECT_EQ(panel().style, app::Alert::Style::informational);
  EXPECT_EQ(panel().message, "Report a bug");
  EXPECT_EQ(panel().informativeText,
            "Email help@example.org with a description and your logs. Logs exclude media and filenames.");
  ASSERT_EQ(panel().buttons.size(), 3U);
  EXPECT_EQ(panel().buttons[showLogs].title, "Show Logs");
  EXPECT_TRUE(panel().buttons[showLogs].isEnabled);
  EXPECT_EQ(panel().buttons[copyEmail].title, "Copy Email");
  EXPECT_EQ(panel().buttons[copyEmail].accessibilityLabel, "Copy support email address");
  EXPECT_TRUE(panel().buttons[copyEmail].isEnabled);
  EXPECT_EQ(panel().buttons[cancel].title, "Cancel");
  EXPECT_TRUE(panel().buttons[cancel].isEnabled);
  EXPECT_TRUE(panel().buttons[cancel].isCancel);
  EXPECT_FALSE(panel().buttons[showLogs].isCancel);
}

TEST_F(BugReportController, saysThatTheLogsCannotBeOpened) {
  makeLogUnusable();
  show();
  EXPECT_EQ(panel().informativeText, "Logs couldn’t be opened. Describe the issue to help@example.org.");
  EXPECT_FALSE(panel().buttons[showLogs].isEnabled);
  EXPECT_TRUE(panel().buttons[copyEmail].isEnabled);
  panels.press(cancel);
  mainThread.runUntilIdle();
  EXPECT_TRUE(fileViewer.revealed.empty());
}

TEST_F(BugReportController, speaksOfLogsAndCannotShowThemWhereThereAreNoneYet) {
  const app::AlertPanel empty = app::bugReportPanel(Files{}, "help@example.org");
  EXPECT_EQ(empty.informativeText,
            "Email help@example.org with a description and your logs. Logs exclude media and filenames.");
  EXPECT_FALSE(empty.buttons.at(showLogs).isEnabled);
}

TEST_F(BugReportController, recordsThatAReportWasOpened) {
  show();
  const std::string text = readFile(folder / "Logs/Tolvander.log");
  EXPECT_TRUE(text.starts_with(R"({"event":"reportOpened","metrics":{},"time":)")) << text;
}

TEST_F(BugReportController, showsOnePanelAtATime) {
  controller.show();
  EXPECT_TRUE(controller.isPresenting());
  controller.show();  // while the log is listed
  mainThread.runUntilIdle();
  controller.show();  // while the panel is open
  mainThread.runUntilIdle();
  EXPECT_EQ(panels.shown.size(), 1U);
  panels.press(cancel);
  mainThread.runUntilIdle();
  EXPECT_FALSE(controller.isPresenting());
  show();
  EXPECT_EQ(panels.shown.size(), 2U);
  const std::string text = readFile(folder / "Logs/Tolvander.log");
  EXPECT_EQ(std::ranges::count(text, '\n'), 2);
}

TEST_F(BugReportController, revealsTheLogsWhereTheUserChoosesThem) {
  show();
  panels.press(showLogs);
  EXPECT_TRUE(fileViewer.revealed.empty());  // the panel goes first
  mainThread.runUntilIdle();
  EXPECT_EQ(fileViewer.revealed, std::vector<Files>{{folder / "Logs/Tolvander.log"}});
  EXPECT_FALSE(controller.isPresenting());
}

TEST_F(BugReportController, revealsNothingWhereTheUserCancels) {
  show();
  panels.press(cancel);
  mainThread.runUntilIdle();
  EXPECT_TRUE(fileViewer.revealed.empty());
}

TEST_F(BugReportController, canBeShownAgainAfterAPanelThatWentWithoutAnAnswer) {
  show();
  panels.drop();
  mainThread.runUntilIdle();
  EXPECT_FALSE(controller.isPresenting());
  show();
  EXPECT_EQ(panels.shown.size(), 2U);
}

TEST_F(BugReportController, copiesTheAddressAndStaysOpen) {
  show();
  EXPECT_EQ(clipboard.text, "what was copied before");
  EXPECT_EQ(panels.press(copyEmail), "Copied");
  EXPECT_EQ(clipboard.text, "help@example.org");
  mainThread.runUntilIdle();
  EXPECT_TRUE(panels.isOpen());
  EXPECT_TRUE(controller.isPresenting());
}

TEST_F(BugReportController, isASheetOfTheKeyWindowUnlessThatHasOne) {
  const auto window = std::make_shared<TestWindow>(application);
  for (const bool isKey : {false, true}) {
    for (const bool hasSheet : {false, true}) {
      application.key = isKey ? window : nullptr;
      window->hasSheet = hasSheet;
      show();
      EXPECT_EQ(panel().sheetOf, isKey && !hasSheet ? window : nullptr);
      panels.press(cancel);
      mainThread.runUntilIdle();
    }
  }
}

}  // namespace
}  // namespace tolvander::tests
