#include "TolvanderApp/Library/PhotoLibraryChangeExecutor.h"

#include <memory>
#include <mutex>
#include <utility>

#include "TolvanderApp/Concurrency/Continuation.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderCore/MediaImportCommitFailure.h"

namespace tolvander::app {

// What the library reported. The waiting thread throws the exception for it.
struct PhotoLibraryChangeExecutor::Result {
  bool success;
  std::exception_ptr error;
};

// Resumes the waiting thread at the first call; later calls do nothing. May be called on any thread.
class PhotoLibraryChangeExecutor::Completion {
 public:
  explicit Completion(std::shared_ptr<Continuation<Result>> continuation)
      : continuation_(std::move(continuation)) {}

  void finish(bool success, std::exception_ptr error) {
    std::shared_ptr<Continuation<Result>> continuation;
    {
      const std::lock_guard lock(lock_);
      continuation.swap(continuation_);
    }
    if (continuation) {
      continuation->resume({success, std::move(error)});
    }
  }

 private:
  std::mutex lock_;
  std::shared_ptr<Continuation<Result>> continuation_;
};

namespace {

template <typename Failure>
MediaImportCommitFailure definiteFailure(const Failure& failure) {
  return MediaImportCommitFailure::definiteFailure(std::make_exception_ptr(failure));
}

}  // namespace

void PhotoLibraryChangeExecutor::perform(PhotoLibrary::ChangeBlock change,
                                         const AuthorizationStatus& authorizationStatus, const Submit& submit,
                                         const CancellationToken& token) {
  if (token.isCancelled()) {
    throw definiteFailure(CancellationError());
  }
  if (authorizationStatus() != PhotosAuthorizationStatus::authorized) {
    throw definiteFailure(PhotoLibraryError(PhotoLibraryError::Case::accessDenied));
  }
  const auto continuation = std::make_shared<Continuation<Result>>();
  const auto completion = std::make_shared<Completion>(continuation);
  submit(std::move(change), [completion](bool success, std::exception_ptr error) {
    completion->finish(success, std::move(error));
  });
  Result result = continuation->wait();
  if (result.success && result.error) {
    throw PhotoLibraryError(PhotoLibraryError::Case::inconsistentChangeResult);
  }
  if (result.error) {
    throw MediaImportCommitFailure::definiteFailure(std::move(result.error));
  }
  if (!result.success) {
    throw definiteFailure(PhotoLibraryError(PhotoLibraryError::Case::changeFailed));
  }
}

void PhotoLibraryChangeExecutor::perform(PhotoLibrary::ChangeBlock change, PhotoLibrary& library,
                                         const CancellationToken& token) {
  perform(
      std::move(change), [&] { return library.authorizationStatus(); },
      [&](PhotoLibrary::ChangeBlock block, PhotoLibrary::ChangeCompletion completion) {
        library.performChanges(std::move(block), std::move(completion));
      },
      token);
}

}  // namespace tolvander::app
