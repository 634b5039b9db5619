#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tolvander::tests {

// Makes one chosen system call fail. Counts every call that changes files, by our code and by shared
// libraries (the C++ library's streams, a database), on all threads. Doesn't see calls within the C library
// (fwrite to a FILE) and changes to mapped memory. Only one plan is active at a time.
//
// A program gets this by linking the FaultInjection object library (see Tests/CMakeLists.txt) in addition to
// TestSupport.

struct Fault {
  enum class Kind { error, lastingError, shortWrite, kill };
  Kind kind;
  int errorNumber = 0;

  // The call does nothing and fails; later ones work again. A close closes and fails.
  static Fault failing(int errorNumber) { return {Kind::error, errorNumber}; }

  // The call and all later ones fail, like on a disk that was removed.
  static Fault failingFromThenOn(int errorNumber) { return {Kind::lastingError, errorNumber}; }

  // A write writes and reports the first half of its bytes; other calls work.
  static Fault shortWrite() { return {Kind::shortWrite}; }

  // The process is killed before the call, or in the middle of a write.
  static Fault kill() { return {Kind::kill}; }
};

// Runs the operation, and calls `interruption` just before the operation's call number `point`, as if another
// process changed the files at that moment. The calls that `interruption` makes are not counted. Throws what
// the operation throws.
void runWithInterruption(std::size_t point, const std::function<void()>& interruption,
                         const std::function<void()>& operation);

// A counted call.
struct FileCall {
  std::string name;
  int descriptor = -1;  // of its file; -1 if the call has a path
};

// Runs the operation, and `before` just before each of its calls, one thread at a time. `before` returns the
// errno value with which the call fails, or 0 to let it work. Calls of `before` don't count. Throws what the
// operation throws.
void runWatched(const std::function<int(const FileCall& call)>& before,
                const std::function<void()>& operation);

// The result of an operation that ran with a fault.
struct FaultOutcome {
  std::size_t point = 0;  // number of the call that was to fail, from 1
  std::string call{};     // its name; empty if the operation ended before
  bool wasKilled = false;
  bool threw = false;
  std::string message{};  // of the exception; empty for a child process

  bool wasHit() const { return !call.empty(); }
};

// The names of the counted calls of the operation, in their order.
std::vector<std::string> mutatingCalls(const std::function<void()>& operation);
std::size_t countMutatingCalls(const std::function<void()>& operation);

// Runs the operation with the fault at call number `point`, from 1; in a child process if the fault kills.
// The result includes the exception.
FaultOutcome runWithFault(const Fault& fault, std::size_t point, const std::function<void()>& operation);

// Runs `setUp`, `operation` with the fault at its n-th call, and `verify`, for n = 1, 1 + step, … until the
// operation ends before its n-th call; `verify` runs for that last time too. Returns the number of faults.
std::size_t forEachFaultPoint(const Fault& fault, const std::function<void()>& setUp,
                              const std::function<void()>& operation,
                              const std::function<void(const FaultOutcome&)>& verify, std::size_t step = 1);

}  // namespace tolvander::tests
