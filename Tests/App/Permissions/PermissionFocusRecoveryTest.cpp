#include "TolvanderApp/PermissionFocusRecovery.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/Doubles/TestWindow.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"

namespace tolvander::tests {
namespace {

using std::chrono::milliseconds;
using Calls = std::vector<std::string>;
using Lines = std::vector<DiagnosticLog::Metrics>;

const Calls oneAttempt = {"activate", "makeKeyAndOrderFront", "orderFrontRegardless"};

class PermissionFocusRecovery : public testing::Test {
 protected:
  PermissionFocusRecovery() {
    window->visible = true;
    application.comesToTheFront = false;
    window->takesFocus = false;
  }

  void giveFocus() {
    application.active = true;
    window->key = true;
  }

  void takeFocus() {
    application.active = false;
    window->key = false;
  }

  // A prompt that has come and gone, after which another program has the focus.
  UUID prompt() {
    const UUID id = recovery.begin(window);
    recovery.complete(id);
    return id;
  }

  // The attempts that were made, by their numbers.
  std::vector<std::int64_t> attempts() const {
    std::vector<std::int64_t> numbers;
    for (const auto& metrics : recorded) {
      if (metrics.contains("attempt")) {
        numbers.push_back(metrics.at("attempt"));
      }
    }
    return numbers;
  }

  static DiagnosticLog::Metrics attempt(int number, bool appActive = false, bool windowKey = false) {
    return {{"attempt", number}, {"app_active", appActive}, {"window_key", windowKey}};
  }
  static DiagnosticLog::Metrics result(int value) { return {{"result", value}}; }

  VirtualMainThread mainThread;
  TestApplication application;
  std::shared_ptr<TestWindow> window = std::make_shared<TestWindow>(application);
  Lines recorded;
  app::PermissionFocusRecovery recovery{
      application, mainThread, [this](DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics) {
        EXPECT_EQ(event, DiagnosticLog::Event::permissionFocusRecovery);
        recorded.push_back(metrics);
      }};
};

TEST_F(PermissionFocusRecovery, keepsTheAskingWindowFromVanishing) {
  recovery.begin(window);
  EXPECT_FALSE(window->hidesOnDeactivate);
  mainThread.advance(std::chrono::hours(1));
  EXPECT_EQ(recorded, Lines());  // nothing happens while the prompt is open
}

TEST_F(PermissionFocusRecovery, bringsTheWindowBackATenthOfASecondAfterThePrompt) {
  application.comesToTheFront = true;
  window->takesFocus = true;
  prompt();
  mainThread.advance(milliseconds(99));
  EXPECT_EQ(application.calls, Calls());
  mainThread.advance(milliseconds(1));
  EXPECT_EQ(application.calls, oneAttempt);
  EXPECT_EQ(recorded, Lines{attempt(1, true, true)});
  mainThread.advance(milliseconds(199));
  EXPECT_EQ(recorded.size(), 1U);
  mainThread.advance(milliseconds(1));
  EXPECT_EQ(recorded, (Lines{attempt(1, true, true), result(0)}));
  EXPECT_EQ(application.calls, oneAttempt);
}

TEST_F(PermissionFocusRecovery, leavesAWindowThatHasTheFocusAlone) {
  giveFocus();
  prompt();
  mainThread.advance(milliseconds(300));
  EXPECT_EQ(recorded, Lines{result(0)});
  EXPECT_EQ(application.calls, Calls());
}

TEST_F(PermissionFocusRecovery, needsBothTheActiveProgramAndTheKeyWindow) {
  for (const bool active : {false, true}) {
    recorded.clear();
    application.active = active;
    window->key = !active;
    prompt();
    mainThread.advance(milliseconds(100));
    EXPECT_EQ(attempts(), std::vector<std::int64_t>{1});
    application.active = active;
    window->key = !active;
    mainThread.advance(milliseconds(200));
    EXPECT_EQ(attempts(), (std::vector<std::int64_t>{1, 2}));
    giveFocus();
    mainThread.advance(milliseconds(200));
    EXPECT_EQ(recorded.back(), result(0));
  }
}

TEST_F(PermissionFocusRecovery, takesTheFocusBackAgainWhereTheSystemTakesIt) {
  giveFocus();
  prompt();
  mainThread.advance(milliseconds(200));
  takeFocus();
  mainThread.advance(milliseconds(100));
  EXPECT_EQ(attempts(), std::vector<std::int64_t>{2});  // the first round needed none
  giveFocus();
  mainThread.advance(milliseconds(200));
  EXPECT_EQ(recorded, (Lines{attempt(2), result(0)}));
}

TEST_F(PermissionFocusRecovery, givesUpAfterSixRounds) {
  prompt();
  mainThread.advance(milliseconds(1299));
  EXPECT_EQ(attempts(), (std::vector<std::int64_t>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(recorded.size(), 6U);
  mainThread.advance(milliseconds(1));
  EXPECT_EQ(recorded.size(), 7U);
  EXPECT_EQ(recorded.back(), result(2));
  const auto callCount = application.calls.size();
  EXPECT_EQ(callCount, 6 * oneAttempt.size());
  mainThread.advance(std::chrono::hours(1));
  EXPECT_EQ(application.calls.size(), callCount);
  EXPECT_EQ(recorded.size(), 7U);
}

TEST_F(PermissionFocusRecovery, doesNothingForAWindowThatIsGone) {
  const UUID id = recovery.begin(window);
  window.reset();
  recovery.complete(id);
  mainThread.advance(std::chrono::hours(1));
  EXPECT_EQ(recorded, Lines());
  EXPECT_EQ(application.calls, Calls());
}

TEST_F(PermissionFocusRecovery, doesNothingWhereNoWindowAsked) {
  recovery.complete(recovery.begin(nullptr));
  mainThread.advance(std::chrono::hours(1));
  EXPECT_EQ(recorded, Lines());
}

TEST_F(PermissionFocusRecovery, endsWhenTheWindowIsNoLongerWanted) {
  const std::vector<std::function<void()>> endings = {
      [&] { window->visible = false; }, [&] { window->miniaturized = true; },
      [&] { application.hidden = true; }, [&] { window.reset(); }};
  for (const milliseconds before :
       {milliseconds(50), milliseconds(150)}) {  // in the first wait, and in a round
    for (const auto& end : endings) {
      window = std::make_shared<TestWindow>(application);
      window->visible = true;
      window->takesFocus = false;
      application.hidden = false;
      recorded.clear();
      prompt();
      mainThread.advance(before);
      end();
      mainThread.advance(milliseconds(200));
      ASSERT_FALSE(recorded.empty());
      EXPECT_EQ(recorded.back(), result(1));
      EXPECT_EQ(attempts().size(), before > milliseconds(100) ? 1U : 0U);
      mainThread.advance(std::chrono::hours(1));
      EXPECT_EQ(recorded.back(), result(1));
    }
  }
}

TEST_F(PermissionFocusRecovery, isReplacedByANewRequest) {
  const UUID first = prompt();
  mainThread.advance(milliseconds(150));
  EXPECT_EQ(attempts(), std::vector<std::int64_t>{1});
  const UUID second = recovery.begin(window);
  EXPECT_NE(first, second);
  mainThread.runUntilIdle();
  EXPECT_EQ(recorded, (Lines{attempt(1), result(1)}));  // at once
  recovery.complete(first);
  mainThread.advance(std::chrono::hours(1));
  EXPECT_EQ(recorded.size(), 2U);
  recovery.complete(second);
  mainThread.advance(milliseconds(100));
  EXPECT_EQ(recorded.back(), attempt(1));
}

TEST_F(PermissionFocusRecovery, isReplacedAlsoWhereTheWindowHasTheFocus) {
  giveFocus();
  prompt();
  mainThread.advance(milliseconds(150));  // in the first pause
  recovery.begin(window);
  mainThread.runUntilIdle();
  EXPECT_EQ(recorded, Lines{result(1)});
}

TEST_F(PermissionFocusRecovery, runsOnceForARequestThatIsCompletedTwice) {
  const UUID id = prompt();
  mainThread.advance(milliseconds(50));
  recovery.complete(id);
  mainThread.advance(milliseconds(99));
  EXPECT_EQ(recorded, Lines{result(1)});  // of the first one
  giveFocus();
  mainThread.advance(milliseconds(201));
  EXPECT_EQ(recorded, (Lines{result(1), result(0)}));
}

TEST_F(PermissionFocusRecovery, makesNoAttemptsTwiceForARequestThatIsCompletedTwice) {
  const UUID id = prompt();
  mainThread.advance(milliseconds(150));
  recovery.complete(id);
  mainThread.advance(milliseconds(150));  // when the first one would try again
  EXPECT_EQ(recorded, (Lines{attempt(1), result(1), attempt(1)}));
}

TEST_F(PermissionFocusRecovery, isNotWantedByAHiddenProgramThatHasTheFocus) {
  prompt();
  mainThread.advance(milliseconds(150));
  giveFocus();
  application.hidden = true;
  mainThread.advance(milliseconds(150));
  EXPECT_EQ(recorded, (Lines{attempt(1), result(1)}));
}

TEST_F(PermissionFocusRecovery, forgetsARequestThatIsOver) {
  giveFocus();
  const UUID id = prompt();
  mainThread.advance(milliseconds(300));
  EXPECT_EQ(recorded, Lines{result(0)});
  recovery.complete(id);
  mainThread.advance(std::chrono::hours(1));
  EXPECT_EQ(recorded, Lines{result(0)});
}

}  // namespace
}  // namespace tolvander::tests
