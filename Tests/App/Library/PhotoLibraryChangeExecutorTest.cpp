#include "TolvanderApp/Library/PhotoLibraryChangeExecutor.h"

#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <stdexcept>
#include <thread>

#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/MediaImportCommitFailure.h"

namespace tolvander::tests {
namespace {

using namespace tolvander::app;

PhotosAuthorizationStatus authorized() { return PhotosAuthorizationStatus::authorized; }

std::exception_ptr libraryError() {
  return std::make_exception_ptr(
      PhotosPlatformError(PhotosPlatformError::Case::notEnoughSpace, "no space is left"));
}

// What happens to the block doesn't matter here: the change ends as told, on this thread.
PhotoLibraryChangeExecutor::Submit ending(bool success, std::exception_ptr error = nullptr) {
  return [success, error = std::move(error)](const PhotoLibrary::ChangeBlock&,
                                             const PhotoLibrary::ChangeCompletion& completion) {
    completion(success, error);
  };
}

void perform(const PhotoLibraryChangeExecutor::Submit& submit, const CancellationToken& token = {}) {
  PhotoLibraryChangeExecutor::perform([](PhotosChanges&) {}, authorized, submit, token);
}

// The failure inside the definite failure with which `operation` ends.
std::exception_ptr definiteFailureOf(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const MediaImportCommitFailure& failure) {
    return failure.underlying();
  }
  ADD_FAILURE() << "no definite failure";
  return std::make_exception_ptr(std::runtime_error("none"));
}

void expectPhotoLibraryError(const std::function<void()>& operation, PhotoLibraryError::Case expected) {
  try {
    operation();
    ADD_FAILURE() << "no failure";
  } catch (const PhotoLibraryError& error) {
    EXPECT_EQ(error.kind(), expected);
  }
}

void expectUnderlying(const std::exception_ptr& failure, PhotoLibraryError::Case expected) {
  expectPhotoLibraryError([&] { std::rethrow_exception(failure); }, expected);
}

TEST(PhotoLibraryChangeExecutor, returnsWhenTheChangeIsMadeWithWhatTheBlockWrote) {
  ScriptedPhotoLibrary library;
  int runs = 0;
  std::thread::id blockThread;
  PhotoLibraryChangeExecutor::perform(
      [&](PhotosChanges&) {
        ++runs;
        blockThread = std::this_thread::get_id();
      },
      library, {});
  EXPECT_EQ(runs, 1);
  EXPECT_NE(blockThread, std::this_thread::get_id());
}

TEST(PhotoLibraryChangeExecutor, failsDefinitelyWithChangeFailedWithoutSuccessAndWithoutError) {
  const auto failure = definiteFailureOf([] { perform(ending(false)); });
  expectUnderlying(failure, PhotoLibraryError::Case::changeFailed);
}

TEST(PhotoLibraryChangeExecutor, failsDefinitelyWithTheLibrarysErrorWithoutSuccess) {
  const auto failure = definiteFailureOf([] { perform(ending(false, libraryError())); });
  EXPECT_THROW(std::rethrow_exception(failure), PhotosPlatformError);
}

TEST(PhotoLibraryChangeExecutor, isUncertainAndNeverADefiniteFailureOnSuccessWithAnError) {
  expectPhotoLibraryError([] { perform(ending(true, libraryError())); },
                          PhotoLibraryError::Case::inconsistentChangeResult);
}

TEST(PhotoLibraryChangeExecutor, ignoresASecondCompletion) {
  const auto twice = [](bool first, bool second) -> PhotoLibraryChangeExecutor::Submit {
    return [=](const PhotoLibrary::ChangeBlock&, const PhotoLibrary::ChangeCompletion& completion) {
      completion(first, nullptr);
      completion(second, libraryError());
    };
  };
  EXPECT_NO_THROW(perform(twice(true, false)));
  const auto failure = definiteFailureOf([&] { perform(twice(false, true)); });
  expectUnderlying(failure, PhotoLibraryError::Case::changeFailed);
}

TEST(PhotoLibraryChangeExecutor, failsDefinitelyAndNeverRunsTheBlockWhenCancelledBeforeSubmitting) {
  ScriptedPhotoLibrary library;
  CancellationSource source;
  source.cancel();
  bool hasRun = false;
  const auto failure = definiteFailureOf([&] {
    PhotoLibraryChangeExecutor::perform([&](PhotosChanges&) { hasRun = true; }, library, source.token());
  });
  EXPECT_THROW(std::rethrow_exception(failure), CancellationError);
  EXPECT_FALSE(hasRun);
  EXPECT_EQ(library.changeCount(), 0U);
  EXPECT_EQ(library.authorizationQuestions(), 0U);
}

TEST(PhotoLibraryChangeExecutor, isNotInterruptedOnceItHasSubmitted) {
  CancellationSource source;
  EXPECT_NO_THROW(perform(
      [&](const PhotoLibrary::ChangeBlock&, const PhotoLibrary::ChangeCompletion& completion) {
        source.cancel();
        completion(true, nullptr);
      },
      source.token()));
}

TEST(PhotoLibraryChangeExecutor, failsDefinitelyWithAccessDeniedWithoutFullAccess) {
  using enum PhotosAuthorizationStatus;
  for (const PhotosAuthorizationStatus status : {notDetermined, restricted, denied, limited}) {
    ScriptedPhotoLibrary library;
    library.answerAuthorization({status});
    const auto failure =
        definiteFailureOf([&] { PhotoLibraryChangeExecutor::perform([](PhotosChanges&) {}, library, {}); });
    expectUnderlying(failure, PhotoLibraryError::Case::accessDenied);
    EXPECT_EQ(library.changeCount(), 0U);
  }
}

TEST(PhotoLibraryChangeExecutor, doesNotCallASubmissionThatFailsDefinite) {
  const auto submit = [](const PhotoLibrary::ChangeBlock&, const PhotoLibrary::ChangeCompletion&) {
    throw std::runtime_error("who knows");
  };
  EXPECT_THROW(perform(submit), std::runtime_error);
}

TEST(PhotoLibraryChangeExecutor, getsWhatABlockThrowsAsADefiniteFailure) {
  ScriptedPhotoLibrary library;
  const auto failure = definiteFailureOf([&] {
    PhotoLibraryChangeExecutor::perform([](PhotosChanges&) { throw std::out_of_range("block"); }, library,
                                        {});
  });
  EXPECT_THROW(std::rethrow_exception(failure), std::out_of_range);
}

TEST(PhotoLibraryChangeExecutor, takesOneOfTwoCompletionsThatCollide) {
  for (int round = 0; round < 2000; ++round) {
    std::thread first;
    std::thread second;
    std::latch start(2);
    const auto completeTogether = [&](const PhotoLibrary::ChangeCompletion& completion, bool success) {
      start.arrive_and_wait();
      completion(success, success ? nullptr : libraryError());
    };
    try {
      perform([&](const PhotoLibrary::ChangeBlock&, const PhotoLibrary::ChangeCompletion& completion) {
        first = std::thread(completeTogether, completion, true);
        second = std::thread(completeTogether, completion, false);
      });
    } catch (const MediaImportCommitFailure& failure) {
      EXPECT_THROW(std::rethrow_exception(failure.underlying()), PhotosPlatformError);
    }
    first.join();
    second.join();
  }
}

}  // namespace
}  // namespace tolvander::tests
