#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "Tests/Support/Doubles/ManualTimer.h"
#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"
#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"

namespace tolvander::tests {

// What was recorded, by any thread.
class RecordedEvents {
 public:
  using Line = std::pair<DiagnosticLog::Event, DiagnosticLog::Metrics>;

  void add(DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics) {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(event, metrics);
  }
  std::vector<Line> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
};

class PhotoLibraryServiceTest : public testing::Test {
 protected:
  using Case = app::PhotoLibraryError::Case;

  template <typename Operation>
  static void expectFailure(Case expected, const Operation& operation) {
    try {
      operation();
      ADD_FAILURE() << "no failure";
    } catch (const app::PhotoLibraryError& error) {
      EXPECT_EQ(error.kind(), expected);
    }
  }

  // Refused with every access but the full one, and without a look at the library.
  template <typename Operation>
  void expectFullAccessNeeded(const Operation& operation) {
    using enum app::PhotosAuthorizationStatus;
    for (const app::PhotosAuthorizationStatus status : {notDetermined, restricted, denied, limited}) {
      library.answerAuthorization({status});
      expectFailure(Case::accessDenied, operation);
    }
    EXPECT_TRUE(library.fetches().empty());
    EXPECT_TRUE(library.identifierFetches().empty());
    EXPECT_EQ(library.changeCount(), 0U);
  }

  const std::shared_ptr<RecordedEvents> events = std::make_shared<RecordedEvents>();
  ManualTimer timer;
  ScriptedPhotoLibrary library;
  app::PhotoLibraryService service{
      library, timer, [events = events](DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics) {
        events->add(event, metrics);
      }};
};

}  // namespace tolvander::tests
