#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "TolvanderApp/Concurrency/ChangeNotifier.h"
#include "TolvanderApp/Concurrency/Observed.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderApp/Concurrency/TaskScope.h"
#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderApp/FlowResults.h"
#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander::app {

// What an attempt at a piece of work came to.
template <typename Value>
struct Attempt {
  FlowOutcome outcome{};
  std::optional<Value> value{};  // absent where the work threw

  // The value of work that is a whole flow. An end of the attempt other than `done` is the flow's.
  Value merged() && {
    Value result = value ? *std::move(value) : Value();
    if (outcome.end != FlowEnd::done) {
      result.outcome = std::move(outcome);
    }
    return result;
  }
};

// Owns the state that says that the model is busy, and is the only one that changes it. One flow at a time
// uses the library or a camera. The gate starts it, stops it, shows what it throws, and closes after it.
// A sync that is asked for while a flow runs follows it once, unless the flow was stopped.
//
// Main thread only. No operation waits between its test and its change of the state.
class FlowGate {
 public:
  // What the gate needs of the model that owns it.
  struct Owner {
    // A flow has opened: the result and the failure of the flow before leave the screen.
    std::function<void()> clearForFlow;
    // Shows what a flow threw. `stopped` is the status line of a cancellation; empty, the line stays.
    std::function<void(const std::exception_ptr& failure, const std::string& stopped)> show;
    // The failure on the screen.
    std::function<std::optional<FlowFailure>()> failure;
    // A sync, for the request that was made while a flow ran.
    std::function<Task<SyncSummary>()> syncAgain;
  };

  enum class Opening {
    clearing,  // what the flow before left on the screen goes
    keepingWhatIsShown,
    byTheFlow  // the flow itself calls `open` once it knows that it has work
  };

  // `isSyncing` is true while the gate is open. The notifier is told of every change of `isBusy`. All outlive
  // the gate.
  FlowGate(Observed<bool>& isSyncing, ChangeNotifier& changes, TaskScope& tasks, Owner owner);
  FlowGate(const FlowGate&) = delete;
  FlowGate& operator=(const FlowGate&) = delete;

  // A flow runs, or a sync looks whether it may.
  bool isBusy() const { return isOpen() || task_.has_value(); }
  // A flow runs.
  bool isOpen() const { return isSyncing_; }
  // The running flow is to end at its next checkpoint; after its end, that it was to. Until the next opening.
  bool isStopRequested() const { return isStopRequested_; }
  // The running flow moves or deletes camera files.
  bool isCleaningUp() const { return isCleaningUp_; }
  // How many cleanups have begun so far.
  std::uint64_t cleanupCount() const { return cleanupCount_; }
  // An eject waits for the end of the running flow.
  bool hasDeferredEject() const { return deferredEject_.has_value(); }

  // Starts the flow. When it ends, the gate closes; if a sync was requested while the flow ran, that sync
  // runs next. The handle ends after both. Must not be called while the gate is busy.
  template <typename Result>
  ValueTaskHandle<Result> start(Task<Result> flow, Opening opening = Opening::clearing) {
    precondition(!isBusy(), "one flow runs at a time");
    if (opening != Opening::byTheFlow) {
      open(opening);
    }
    const auto handle = tasks_.start(closingAfter(std::move(flow)));
    task_ = handle;
    return handle;
  }

  // A stop that came since the flow was started counts. One from before doesn't.
  void open(Opening opening = Opening::clearing);

  // Does a piece of the running flow's work, and shows what it throws.
  template <typename Value>
  requires(!std::is_void_v<Value>) Task<Attempt<Value>> attempt(Task<Value> work, std::string stopped) {
    Attempt<Value> result;
    std::exception_ptr thrown;
    try {
      result.value.emplace(co_await work);
    } catch (const std::exception&) {
      thrown = std::current_exception();
    }
    result.outcome = conclude(thrown, stopped);
    co_return result;
  }
  Task<FlowOutcome> attempt(Task<> work, std::string stopped);

  // Asks the running flow to stop. No sync follows it.
  void stop();
  // The same, and the camera waits for its eject, in the place of any other one.
  void stopForEject(const ConnectedDeviceSummary& device);
  // The same, and no eject follows either.
  void stopForGood();

  // Waits for the end of the running flow. True where this camera is still the one that waits for its eject;
  // then it waits no longer.
  Task<bool> untilEjectIsDue(ConnectedDeviceSummary device);

  // Notes that a sync was asked for, where a flow runs; false where none does.
  bool foldSync();

  void beginCleanup();
  void endCleanup() { isCleaningUp_ = false; }

 private:
  template <typename Result>
  Task<Result> closingAfter(Task<Result> flow) {
    std::optional<Result> result;
    std::exception_ptr failure;
    try {
      result.emplace(co_await flow);
    } catch (...) {
      failure = std::current_exception();
    }
    if (result) {
      addShownFailure(outcomeOf(*result));
    }
    if (close()) {
      auto sync = owner_.syncAgain();
      SyncSummary summary = co_await sync;
      if constexpr (std::is_same_v<Result, SyncSummary>) {
        if (result) {
          result->append(std::move(summary));
        }
      }
    }
    if (failure) {
      std::rethrow_exception(failure);
    }
    co_return *std::move(result);
  }

  static FlowOutcome& outcomeOf(FlowOutcome& outcome) { return outcome; }
  template <typename Result>
  static FlowOutcome& outcomeOf(Result& result) {
    return result.outcome;
  }

  FlowOutcome conclude(const std::exception_ptr& thrown, const std::string& stopped) const;
  // Sets the outcome to failed when the flow has shown a failure without throwing it.
  void addShownFailure(FlowOutcome& outcome) const;
  // Gives whether a sync is to follow.
  bool close();

  Observed<bool>& isSyncing_;
  ChangeNotifier& changes_;
  TaskScope& tasks_;
  const Owner owner_;
  std::optional<TaskHandle> task_;
  bool isStopRequested_ = false;
  bool isSyncRequested_ = false;
  bool isCleaningUp_ = false;
  std::uint64_t cleanupCount_ = 0;
  std::optional<ConnectedDeviceSummary> deferredEject_;
  std::optional<FlowFailure> failureAtOpening_;
};

}  // namespace tolvander::app
