#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tolvander::tests {

// Failures of the system at one chosen call. Every call that changes files is counted: those of our own code
// and those that shared libraries make for us (the C++ library's streams, a database). Not seen are what the
// C library does inside itself (fwrite to a FILE) and changes to mapped memory. Calls of all threads count;
// only one plan is in force at a time.
//
// A program has this by linking the FaultInjection object library (see Tests/CMakeLists.txt), not by linking
// TestSupport.

struct Fault {
  enum class Kind { error, lastingError, shortWrite, kill };
  Kind kind;
  int errorNumber = 0;

  // The call does nothing and fails; those after it work again. A close does its work and fails.
  static Fault failing(int errorNumber) { return {Kind::error, errorNumber}; }

  // The call and all after it fail, as on a disk that is gone.
  static Fault failingFromThenOn(int errorNumber) { return {Kind::lastingError, errorNumber}; }

  // A write takes the first half of its bytes and says so; other calls work.
  static Fault shortWrite() { return {Kind::shortWrite}; }

  // The process dies before the call, in the middle of it when it is a write.
  static Fault kill() { return {Kind::kill}; }
};

// Runs the operation, and `meanwhile` just before its `point`th call: what somebody else does to the files at
// that moment. Calls that `meanwhile` makes don't count. Throws what the operation throws.
void runWithInterruption(std::size_t point, const std::function<void()>& meanwhile,
                         const std::function<void()>& operation);

// One of the counted calls.
struct FileCall {
  std::string name;
  int descriptor = -1;  // of the open file that it concerns; -1 where it goes by a path
};

// Runs the operation, and `before` just before each of its calls, for one thread at a time. What `before`
// returns is the error number with which the call fails; 0 lets it work. Calls that `before` makes don't
// count. Throws what the operation throws.
void runWatched(const std::function<int(const FileCall& call)>& before,
                const std::function<void()>& operation);

// How an operation ended that ran with a fault.
struct FaultOutcome {
  std::size_t point = 0;  // the number of the call that was to fail, from 1
  std::string call{};     // its name; empty when the operation ended before
  bool wasKilled = false;
  bool threw = false;
  std::string message{};  // of what it threw; unknown (empty) of a child process

  bool wasHit() const { return !call.empty(); }
};

// The names of the calls that the operation makes, in their order.
std::vector<std::string> mutatingCalls(const std::function<void()>& operation);
std::size_t countMutatingCalls(const std::function<void()>& operation);

// Runs the operation with the fault at its `point`th call, counted from 1; in a child process when the fault
// kills. What it throws goes into the outcome.
FaultOutcome runWithFault(const Fault& fault, std::size_t point, const std::function<void()>& operation);

// Runs `setUp`, `operation` with the fault at its n-th call, and `verify`, for n = 1, 1 + step, … until the
// operation ends before its n-th call; `verify` sees that last run as well. Returns how many points were hit.
std::size_t forEachFaultPoint(const Fault& fault, const std::function<void()>& setUp,
                              const std::function<void()>& operation,
                              const std::function<void(const FaultOutcome&)>& verify, std::size_t step = 1);

}  // namespace tolvander::tests
