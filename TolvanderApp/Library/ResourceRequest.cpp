#include "TolvanderApp/Library/ResourceRequest.h"

#include <utility>

namespace tolvander::app {

void ResourceRequest::attach(std::shared_ptr<Continuation<Result>> continuation) {
  Result result;
  {
    const std::lock_guard lock(lock_);
    if (!terminal_) {
      continuation_ = std::move(continuation);
      return;
    }
    result = *terminal_;
  }
  continuation->resume(result);
}

void ResourceRequest::began(PhotoLibrary::RequestID requestID) {
  {
    const std::lock_guard lock(lock_);
    requestID_ = requestID;
    if (!terminal_) {
      return;
    }
  }
  library_.cancelDataRequest(requestID);
}

bool ResourceRequest::accept(std::int64_t count) {
  {
    const std::lock_guard lock(lock_);
    if (terminal_) {
      return false;
    }
    bytes_ += count;
    if (bytes_ <= maximumBytes_) {
      return true;
    }
  }
  finish(Result::budgetExceeded, true);
  return false;
}

void ResourceRequest::finish(Result result, bool cancel) {
  std::shared_ptr<Continuation<Result>> continuation;
  std::optional<PhotoLibrary::RequestID> requestID;
  {
    const std::lock_guard lock(lock_);
    if (terminal_) {
      return;
    }
    terminal_ = result;
    continuation.swap(continuation_);
    requestID = requestID_;
  }
  if (cancel && requestID) {
    library_.cancelDataRequest(*requestID);
  }
  if (continuation) {
    continuation->resume(result);
  }
}

std::int64_t ResourceRequest::bytes() const {
  const std::lock_guard lock(lock_);
  return bytes_;
}

}  // namespace tolvander::app
