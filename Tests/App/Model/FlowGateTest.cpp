#include "TolvanderApp/Model/FlowGate.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/Sleep.h"

namespace tolvander::tests {
namespace {

using app::FlowEnd;
using app::FlowFailure;
using app::FlowGate;
using app::FlowOutcome;
using app::SyncSummary;
using app::Task;
using std::chrono::seconds;

constexpr seconds flowTime(10);

// A flow that works for ten seconds, or until it is cancelled.
Task<FlowOutcome> work() {
  auto sleep = app::sleepOrCancellation(flowTime);
  co_await sleep;
  co_return FlowOutcome();
}

Task<SyncSummary> sync(FlowGate* gate, std::string name) {
  gate->open();
  auto sleep = app::sleepOrCancellation(flowTime);
  co_await sleep;
  const app::CameraRun run{.volumeURL = FileURL("/media/" + name),
                           .name = name,
                           .fileCount = 0,
                           .newCount = std::nullopt,
                           .imported = {},
                           .setAside = {}};
  co_return SyncSummary{.outcome = {}, .cameras = {run}};
}

Task<> throwing(std::exception_ptr failure) {
  std::rethrow_exception(std::move(failure));
  co_return;
}

Task<FlowOutcome> attempting(FlowGate* gate, std::exception_ptr failure) {
  auto attempt = gate->attempt(throwing(std::move(failure)), "Work stopped");
  co_return co_await attempt;
}

Task<FlowOutcome> failing() {
  throw std::runtime_error("a flow of its own accord");
  co_return FlowOutcome();
}

class FlowGateTest : public testing::Test {
 protected:
  static Task<FlowOutcome> showing(FlowGateTest* test, FlowFailure failure) {
    test->shownFailure = std::move(failure);
    co_return FlowOutcome();
  }

  static Task<> waitingForEject(FlowGateTest* test, app::ConnectedDeviceSummary device) {
    auto waiting = test->gate.untilEjectIsDue(device);
    test->dueEjects.emplace_back(device.displayName, co_await waiting);
  }

  static app::ConnectedDeviceSummary device(const std::string& name) {
    return {.volumeURL = FileURL("/media/" + name), .displayName = name, .isCharmera = true};
  }

  template <typename Result>
  Result ended(const app::ValueTaskHandle<Result>& handle) {
    struct Keeping {
      static Task<> in(std::optional<Result>* place, app::ValueTaskHandle<Result> handle) {
        auto value = handle.value();
        place->emplace(co_await value);
      }
    };
    std::optional<Result> result;
    tasks.start(Keeping::in(&result, handle));
    mainThread.runUntilIdle();
    EXPECT_TRUE(result.has_value()) << "it has not ended";
    return result.value_or(Result());
  }

  void pass(std::chrono::nanoseconds time) { mainThread.advance(time); }

  VirtualMainThread mainThread;
  app::ChangeNotifier changes{mainThread};
  app::Observed<bool> isSyncing{changes, false};
  int openings = 0;
  int followingSyncs = 0;
  std::vector<std::string> shownStops;
  std::optional<FlowFailure> shownFailure;
  std::vector<std::pair<std::string, bool>> dueEjects;
  FlowGate gate{isSyncing,
                changes,
                tasks,
                {.clearForFlow =
                     [this] {
                       ++openings;
                       shownFailure.reset();
                     },
                 .show =
                     [this](const std::exception_ptr& failure, const std::string& stopped) {
                       try {
                         std::rethrow_exception(failure);
                       } catch (const CancellationError&) {
                         shownStops.push_back(stopped);
                       } catch (const std::exception& error) {
                         shownFailure = FlowFailure{.words = error.what(), .file = std::nullopt};
                       }
                     },
                 .failure = [this] { return shownFailure; },
                 .syncAgain =
                     [this] {
                       ++followingSyncs;
                       return sync(&gate, "AGAIN");
                     }}};
  app::TaskScope tasks{mainThread};  // last: its tasks use everything above
};

TEST_F(FlowGateTest, isOpenFromTheStartOfAFlowToItsEnd) {
  EXPECT_FALSE(gate.isBusy());
  const auto handle = gate.start(work());
  EXPECT_TRUE(gate.isOpen());
  EXPECT_TRUE(isSyncing.value());
  EXPECT_EQ(openings, 1);
  pass(flowTime);
  EXPECT_TRUE(handle.isFinished());
  EXPECT_FALSE(gate.isBusy());
  EXPECT_FALSE(isSyncing.value());
}

TEST_F(FlowGateTest, isBusyBeforeASyncOpensIt) {
  gate.start(sync(&gate, "ONE"), FlowGate::Opening::byTheFlow);
  EXPECT_TRUE(gate.isBusy());
  EXPECT_FALSE(gate.isOpen());
  mainThread.runUntilIdle();
  EXPECT_TRUE(gate.isOpen());
}

TEST_F(FlowGateTest, leavesTheScreenAloneWhereAFlowKeepsWhatIsShown) {
  gate.start(work(), FlowGate::Opening::keepingWhatIsShown);
  EXPECT_TRUE(gate.isOpen());
  EXPECT_EQ(openings, 0);
}

TEST_F(FlowGateTest, closesAfterAFlowThatThrows) {
  gate.start(failing());
  mainThread.runUntilIdle();
  EXPECT_FALSE(gate.isBusy());
}

// Syncs that are requested while a flow runs

TEST_F(FlowGateTest, oneSyncFollowsForAllRequestsDuringAFlow) {
  const auto handle = gate.start(work());
  EXPECT_TRUE(gate.foldSync());
  EXPECT_TRUE(gate.foldSync());
  pass(flowTime);
  EXPECT_EQ(followingSyncs, 1);
  EXPECT_FALSE(handle.isFinished()) << "it ends after the sync that follows";
}

TEST_F(FlowGateTest, notesNoRequestWhileNothingRuns) {
  EXPECT_FALSE(gate.foldSync());
  gate.start(work());
  pass(flowTime);
  EXPECT_EQ(followingSyncs, 0);
}

TEST_F(FlowGateTest, noSyncFollowsAFlowThatWasStoppedBeforeOrAfterTheRequest) {
  gate.start(work());
  gate.foldSync();
  gate.stop();
  mainThread.runUntilIdle();
  EXPECT_EQ(followingSyncs, 0);
  gate.start(work());
  gate.stop();
  gate.foldSync();
  mainThread.runUntilIdle();
  EXPECT_EQ(followingSyncs, 0);
  gate.start(work());
  pass(flowTime);
  EXPECT_EQ(followingSyncs, 0) << "the request is forgotten";
}

TEST_F(FlowGateTest, syncAnswersTheRequestsFromBeforeItsOpening) {
  gate.start(sync(&gate, "ONE"), FlowGate::Opening::byTheFlow);
  gate.foldSync();
  mainThread.runUntilIdle();
  pass(flowTime);
  EXPECT_FALSE(gate.isBusy());
  EXPECT_EQ(followingSyncs, 0);
}

TEST_F(FlowGateTest, stopFromBeforeAFlowDropsNoRequestDuringIt) {
  gate.stop();
  gate.start(work(), FlowGate::Opening::byTheFlow);
  gate.foldSync();
  pass(flowTime);
  EXPECT_EQ(followingSyncs, 1);
}

TEST_F(FlowGateTest, noSyncFollowsForARequestBeforeASyncOpens) {
  gate.start(sync(&gate, "ONE"), FlowGate::Opening::byTheFlow);
  EXPECT_TRUE(gate.foldSync());
  pass(flowTime);
  EXPECT_FALSE(gate.isBusy());
  EXPECT_EQ(followingSyncs, 0);
}

TEST_F(FlowGateTest, syncGivesWhatTheFollowingOneDidToo) {
  const auto handle = gate.start(sync(&gate, "ONE"), FlowGate::Opening::byTheFlow);
  mainThread.runUntilIdle();
  gate.foldSync();
  pass(flowTime);
  pass(flowTime);
  const SyncSummary summary = ended(handle);
  ASSERT_EQ(summary.cameras.size(), 2U);
  EXPECT_EQ(summary.cameras[0].name, "ONE");
  EXPECT_EQ(summary.cameras[1].name, "AGAIN");
}

// Stops

TEST_F(FlowGateTest, stopCancelsTheFlow) {
  const auto handle = gate.start(work());
  gate.stop();
  mainThread.runUntilIdle();
  EXPECT_TRUE(handle.isFinished()) << "without time passing";
  EXPECT_TRUE(gate.isStopRequested()) << "until the next opening";
  gate.start(work());
  EXPECT_FALSE(gate.isStopRequested());
}

TEST_F(FlowGateTest, stopBetweenTheStartOfASyncAndItsOpeningCounts) {
  gate.start(sync(&gate, "ONE"), FlowGate::Opening::byTheFlow);
  gate.stop();
  mainThread.runUntilIdle();
  EXPECT_TRUE(gate.isStopRequested());
}

TEST_F(FlowGateTest, ejectIsDueAfterTheFlowItStopped) {
  gate.start(work());
  gate.stopForEject(device("ONE"));
  EXPECT_TRUE(gate.hasDeferredEject());
  tasks.start(waitingForEject(this, device("ONE")));
  mainThread.runUntilIdle();
  EXPECT_FALSE(gate.isBusy());
  EXPECT_FALSE(gate.hasDeferredEject());
  EXPECT_EQ(dueEjects, (std::vector<std::pair<std::string, bool>>{{"ONE", true}}));
}

TEST_F(FlowGateTest, ejectOfAnotherCameraTakesThePlaceOfTheFirst) {
  gate.start(work());
  gate.stopForEject(device("ONE"));
  tasks.start(waitingForEject(this, device("ONE")));
  gate.stopForEject(device("TWO"));
  tasks.start(waitingForEject(this, device("TWO")));
  mainThread.runUntilIdle();
  EXPECT_EQ(dueEjects, (std::vector<std::pair<std::string, bool>>{{"ONE", false}, {"TWO", true}}));
}

TEST_F(FlowGateTest, noEjectFollowsAStopForGood) {
  gate.start(work());
  gate.stopForEject(device("ONE"));
  tasks.start(waitingForEject(this, device("ONE")));
  gate.stopForGood();
  mainThread.runUntilIdle();
  EXPECT_EQ(dueEjects, (std::vector<std::pair<std::string, bool>>{{"ONE", false}}));
}

// How a flow ended

TEST_F(FlowGateTest, showsAFailureAndGivesIt) {
  const auto handle = gate.start(attempting(&gate, std::make_exception_ptr(std::runtime_error("It broke."))));
  const FlowOutcome outcome = ended(handle);
  EXPECT_EQ(outcome.end, FlowEnd::failed);
  EXPECT_EQ(outcome.failure, (FlowFailure{.words = "It broke.", .file = std::nullopt}));
}

TEST_F(FlowGateTest, cancellationIsAStopOnlyWhereOneWasRequested) {
  const auto cancellation = std::make_exception_ptr(CancellationError());
  EXPECT_EQ(ended(gate.start(attempting(&gate, cancellation))).end, FlowEnd::cameraWentAway);
  const auto handle = gate.start(attempting(&gate, cancellation));
  gate.stop();
  EXPECT_EQ(ended(handle).end, FlowEnd::stopped);
  EXPECT_EQ(shownStops, (std::vector<std::string>{"Work stopped", "Work stopped"}));
}

TEST_F(FlowGateTest, failureThatAFlowShowsWithoutThrowingItCounts) {
  const FlowFailure failure{.words = "Not everything was done.", .file = std::nullopt};
  EXPECT_EQ(ended(gate.start(showing(this, failure))).failure, failure);
  EXPECT_EQ(ended(gate.start(showing(this, failure))).failure, failure) << "also the same again";
}

TEST_F(FlowGateTest, failureFromBeforeTheFlowDoesNotCount) {
  shownFailure = FlowFailure{.words = "An old one.", .file = std::nullopt};
  const auto handle = gate.start(work(), FlowGate::Opening::keepingWhatIsShown);
  pass(flowTime);
  EXPECT_EQ(ended(handle).end, FlowEnd::done);
}

TEST_F(FlowGateTest, failureDuringAFlowThatDidNotOpenTheGateIsNotItsOwn) {
  const FlowFailure failure{.words = "Something else broke.", .file = std::nullopt};
  EXPECT_EQ(ended(gate.start(showing(this, failure), FlowGate::Opening::byTheFlow)).end, FlowEnd::done);
}

TEST_F(FlowGateTest, endOfAFlowThatDidNotOpenTheGateIsAChange) {
  gate.start(work(), FlowGate::Opening::byTheFlow);
  mainThread.runUntilIdle();
  bool wasBusy = true;
  const auto observation = changes.observe([&] { wasBusy = gate.isBusy(); });
  pass(flowTime);
  EXPECT_FALSE(wasBusy);
}

// Cleanup

TEST_F(FlowGateTest, cleanupEndsWithItsFlowAtTheLatest) {
  gate.start(work());
  gate.beginCleanup();
  EXPECT_TRUE(gate.isCleaningUp());
  EXPECT_EQ(gate.cleanupCount(), 1U);
  pass(flowTime);
  EXPECT_FALSE(gate.isCleaningUp());
}

TEST(SyncSummary, keepsTheWorstOutcomeAndOfTwoAlikeTheLater) {
  SyncSummary summary{.outcome = {.end = FlowEnd::failed, .failure = FlowFailure{"First", {}}}};
  summary.append({.outcome = {.end = FlowEnd::cameraWentAway}});
  EXPECT_EQ(summary.outcome.failure, (FlowFailure{"First", {}}));
  summary.append({.outcome = {.end = FlowEnd::failed, .failure = FlowFailure{"Second", {}}}});
  EXPECT_EQ(summary.outcome.failure, (FlowFailure{"Second", {}}));
}

}  // namespace
}  // namespace tolvander::tests
