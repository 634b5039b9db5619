#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "TolvanderApp/Concurrency/Continuation.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"

namespace tolvander::app {

// One read of a resource, shared by the thread that waits for it, the library's handlers, the timer and the
// cancellation. The first terminal result wins; later ones are ignored. Safe on every
// thread; no one is called, and none resumed, under its lock.
class ResourceRequest {
 public:
  // Kinds rather than errors, so that no exception is shared between threads.
  enum class Result {
    success,
    cancelled,
    budgetExceeded,         // more bytes came than were allowed
    networkAccessRequired,  // the original is not on this machine
    unavailable             // any other failure, the time-out included
  };

  // `library` must live until the read has ended. `maximumBytes` is the allowance of this read.
  ResourceRequest(PhotoLibrary& library, std::int64_t maximumBytes)
      : library_(library), maximumBytes_(maximumBytes) {}
  ResourceRequest(const ResourceRequest&) = delete;
  ResourceRequest& operator=(const ResourceRequest&) = delete;

  // Resumed with the result, at once where the read has ended already. Called once.
  void attach(std::shared_ptr<Continuation<Result>> continuation);

  // The library has accepted the request under `requestID`. Cancels it there if the read ended before that
  // was known. Called once.
  void began(PhotoLibrary::RequestID requestID);

  // Counts a chunk of `count` bytes and says whether it is to be hashed. The chunk that goes beyond the
  // allowance is counted, is not to be hashed, and ends the read; a chunk after the end is neither.
  bool accept(std::int64_t count);

  // Ends the read, and cancels the request at the library if `cancel`.
  void finish(Result result, bool cancel);

  // Accepted so far.
  std::int64_t bytes() const;

 private:
  PhotoLibrary& library_;
  const std::int64_t maximumBytes_;

  mutable std::mutex lock_;  // guards all below
  std::optional<PhotoLibrary::RequestID> requestID_;
  std::shared_ptr<Continuation<Result>> continuation_;  // from attach until it is resumed
  std::optional<Result> terminal_;                      // set once
  std::int64_t bytes_ = 0;
};

}  // namespace tolvander::app
