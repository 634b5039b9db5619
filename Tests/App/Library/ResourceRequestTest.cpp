#include "TolvanderApp/Library/ResourceRequest.h"

#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <thread>
#include <vector>

#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"

namespace tolvander::tests {
namespace {

using namespace tolvander::app;
using Result = ResourceRequest::Result;
using RequestIDs = std::vector<PhotoLibrary::RequestID>;

class ResourceRequests : public testing::Test {
 protected:
  static constexpr std::int64_t maximumBytes = 1000;

  ScriptedPhotoLibrary library;
  ResourceRequest request{library, maximumBytes};
  const std::shared_ptr<Continuation<Result>> continuation = std::make_shared<Continuation<Result>>();
};

TEST_F(ResourceRequests, resumesWhoWaitsWithTheResult) {
  request.attach(continuation);
  request.began(7);
  request.finish(Result::networkAccessRequired, false);
  EXPECT_EQ(continuation->wait(), Result::networkAccessRequired);
  EXPECT_EQ(library.cancelledRequests(), RequestIDs());
}

TEST_F(ResourceRequests, resumesAtOnceWhoComesAfterTheEnd) {
  request.finish(Result::cancelled, true);
  request.attach(continuation);
  EXPECT_EQ(continuation->wait(), Result::cancelled);
}

TEST_F(ResourceRequests, countsTheFirstOutcomeOnly) {
  request.attach(continuation);
  request.began(7);
  request.finish(Result::success, false);
  request.finish(Result::unavailable, true);
  EXPECT_EQ(continuation->wait(), Result::success);
  EXPECT_EQ(library.cancelledRequests(), RequestIDs());
}

TEST_F(ResourceRequests, cancelsTheRequestWhereItIsAsked) {
  request.attach(continuation);
  request.began(7);
  request.finish(Result::unavailable, true);
  EXPECT_EQ(library.cancelledRequests(), RequestIDs{7});
}

TEST_F(ResourceRequests, cancelsARequestWhoseIdentifierComesAfterTheEnd) {
  request.attach(continuation);
  request.finish(Result::unavailable, true);
  EXPECT_EQ(continuation->wait(), Result::unavailable);
  EXPECT_EQ(library.cancelledRequests(), RequestIDs());
  request.began(7);
  EXPECT_EQ(library.cancelledRequests(), RequestIDs{7});
}

TEST_F(ResourceRequests, acceptsAsManyBytesAsAreAllowed) {
  request.attach(continuation);
  EXPECT_TRUE(request.accept(600));
  EXPECT_TRUE(request.accept(400));
  EXPECT_EQ(request.bytes(), 1000);
  request.finish(Result::success, false);
  EXPECT_EQ(continuation->wait(), Result::success);
}

TEST_F(ResourceRequests, countsTheChunkThatGoesBeyondAndEndsWithIt) {
  request.attach(continuation);
  request.began(7);
  EXPECT_TRUE(request.accept(600));
  EXPECT_FALSE(request.accept(401));
  EXPECT_EQ(request.bytes(), 1001);
  EXPECT_EQ(continuation->wait(), Result::budgetExceeded);
  EXPECT_EQ(library.cancelledRequests(), RequestIDs{7});
  EXPECT_FALSE(request.accept(1));
  EXPECT_EQ(request.bytes(), 1001);
}

TEST_F(ResourceRequests, neitherCountsNorTakesAChunkAfterATimeOut) {
  request.attach(continuation);
  EXPECT_TRUE(request.accept(10));
  request.finish(Result::unavailable, true);
  EXPECT_FALSE(request.accept(10));
  EXPECT_EQ(request.bytes(), 10);
}

// All at once: chunks and completion, time-out, cancellation, and the identifier that becomes known.
TEST(ResourceRequest, isResumedOnceWhoeverWins) {
  ScriptedPhotoLibrary library;
  int rounds = 0;
  for (; rounds < 2000; ++rounds) {
    ResourceRequest request(library, 100);
    std::latch start(4);
    const auto together = [&](const std::function<void()>& function) {
      start.arrive_and_wait();
      function();
    };
    int taken = 0;
    std::thread completion(together, [&] {
      for (int chunk = 0; chunk < 3; ++chunk) {
        taken += request.accept(40) ? 40 : 0;
      }
      request.finish(Result::success, false);
    });
    std::thread timeOut(together, [&] { request.finish(Result::unavailable, true); });
    std::thread cancellation(together, [&] { request.finish(Result::cancelled, true); });
    const auto continuation = std::make_shared<Continuation<Result>>();
    Result result{};
    together([&] {
      request.attach(continuation);
      request.began(rounds);
      result = continuation->wait();
    });
    completion.join();
    timeOut.join();
    cancellation.join();
    // The third chunk goes beyond the allowance, so that success never comes first; it counts even where
    // another end comes before its own.
    ASSERT_NE(result, Result::success);
    if (result == Result::budgetExceeded || taken == 80) {
      ASSERT_EQ(taken, 80);
      ASSERT_TRUE(request.bytes() == 120 || (request.bytes() == 80 && result != Result::budgetExceeded));
    } else {
      ASSERT_EQ(request.bytes(), taken);
    }
  }
  EXPECT_EQ(library.cancelledRequests().size(), static_cast<std::size_t>(rounds));
}

}  // namespace
}  // namespace tolvander::tests
