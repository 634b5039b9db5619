#include "TolvanderCore/Concurrency/Deadline.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace tolvander::tests {

namespace {

void waitUntilCancelled(const CancellationToken& token) {
  std::promise<void> cancelled;
  const CancellationCallback callback(token, [&] { cancelled.set_value(); });
  cancelled.get_future().wait();
}

}  // namespace

TEST(Deadline, isMetByWorkThatEndsInTime) {
  Deadline deadline({}, std::chrono::hours(1));
  EXPECT_FALSE(deadline.token().isCancelled());
  EXPECT_TRUE(deadline.stop());
  EXPECT_TRUE(deadline.stop());
  EXPECT_FALSE(deadline.token().isCancelled());
}

TEST(Deadline, cancelsWorkWhoseTimeIsUp) {
  for (const std::chrono::milliseconds allowed :
       {std::chrono::milliseconds(-1), {}, std::chrono::milliseconds(1)}) {
    Deadline deadline({}, allowed);
    waitUntilCancelled(deadline.token());
    EXPECT_FALSE(deadline.stop());
    EXPECT_FALSE(deadline.stop());
  }
}

TEST(Deadline, cancelsWorkOfACancelledTaskWithoutBeingMissed) {
  CancellationSource task;
  Deadline deadline(task.token(), std::chrono::hours(1));
  task.cancel();
  EXPECT_TRUE(deadline.token().isCancelled());
  EXPECT_TRUE(deadline.stop());
}

TEST(Deadline, startsCancelledWhereTheTaskIs) {
  CancellationSource task;
  task.cancel();
  const Deadline deadline(task.token(), std::chrono::hours(1));
  EXPECT_TRUE(deadline.token().isCancelled());
}

}  // namespace tolvander::tests
