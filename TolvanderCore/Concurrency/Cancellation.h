#pragma once

#include <functional>
#include <memory>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// Thrown by an operation whose task was cancelled. Never shown to the user as a failure.
class CancellationError final : public Error {
 public:
  CancellationError() : Error("the task was cancelled") {}
  std::string_view domain() const override { return "TolvanderCore.CancellationError"; }
  std::int64_t code() const override { return 0; }
};

class CancellationState;

// Tells an operation whether it has been cancelled. Copies belong to the same source. A token may outlive its
// source. A default token is never cancelled. Safe on every thread.
class CancellationToken {
 public:
  CancellationToken() = default;

  // Costs one atomic read; takes no lock and allocates nothing.
  bool isCancelled() const;

  // Throws CancellationError if the source was cancelled.
  void throwIfCancelled() const;

 private:
  friend class CancellationSource;
  friend class CancellationCallback;
  explicit CancellationToken(std::shared_ptr<CancellationState> state) : state_(std::move(state)) {}
  std::shared_ptr<CancellationState> state_;
};

// Cancels the operations that hold its tokens. A cancellation can't be undone.
class CancellationSource {
 public:
  CancellationSource();

  CancellationToken token() const { return CancellationToken(state_); }

  // Sets the flag and then runs the callbacks on this thread, in the order in which they were registered. A
  // second call does nothing, and may return while the first is still running callbacks.
  void cancel();

 private:
  std::shared_ptr<CancellationState> state_;
};

// Calls a function once when the token's source is cancelled: on the cancelling thread, or, if the source was
// cancelled before, at once on the constructing thread. The destructor waits until a call on another thread
// has returned; afterwards the function is not called. The function must not throw, and must not wait for the
// thread that destroys this object. It may destroy this object as its last action.
class CancellationCallback {
 public:
  CancellationCallback(const CancellationToken& token, std::function<void()> function);
  ~CancellationCallback();
  CancellationCallback(const CancellationCallback&) = delete;
  CancellationCallback& operator=(const CancellationCallback&) = delete;

 private:
  std::shared_ptr<CancellationState> state_;
  std::function<void()> function_;
};

}  // namespace tolvander
