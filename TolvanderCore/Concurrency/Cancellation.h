#pragma once

#include <functional>
#include <memory>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// The task was cancelled. Never shown as a failure.
class CancellationError final : public Error {
 public:
  CancellationError() : Error("the task was cancelled") {}
  std::string_view domain() const override { return "TolvanderCore.CancellationError"; }
  std::int64_t code() const override { return 0; }
};

class CancellationState;

// Asks whether the work has been cancelled. Copies watch the same source; a token outlives its source. A
// default token is never cancelled. Every operation is safe on every thread.
class CancellationToken {
 public:
  CancellationToken() = default;

  // One atomic read, no lock, no allocation.
  bool isCancelled() const;

  // Throws CancellationError once the source was cancelled.
  void throwIfCancelled() const;

 private:
  friend class CancellationSource;
  friend class CancellationCallback;
  explicit CancellationToken(std::shared_ptr<CancellationState> state) : state_(std::move(state)) {}
  std::shared_ptr<CancellationState> state_;
};

// Cancels the work that holds its tokens. Cancellation happens once and is never taken back.
class CancellationSource {
 public:
  CancellationSource();

  CancellationToken token() const { return CancellationToken(state_); }

  // Sets the flag, then runs the callbacks on this thread, in the order in which they were made. A second
  // call does nothing, and may return while the first still runs callbacks.
  void cancel();

 private:
  std::shared_ptr<CancellationState> state_;
};

// Runs a function once when the token's source is cancelled: on the cancelling thread, or at once on this one
// if that happened before. Destroying it waits for a run on another thread to end; from then on the function
// is not called. The function must not throw, and must not wait for the thread that destroys this object; it
// may itself destroy this object, as the last thing that it does.
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
