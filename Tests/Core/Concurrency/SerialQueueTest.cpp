#include "TolvanderCore/Concurrency/SerialQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace tolvander::tests {
namespace {

TEST(SerialQueue, runsJobsInTheirOrderOnOneOtherThread) {
  std::vector<int> order;
  std::vector<std::thread::id> threads;
  {
    SerialQueue queue;
    for (int job = 0; job < 100; ++job) {
      queue.post([&, job] {
        order.push_back(job);
        threads.push_back(std::this_thread::get_id());
      });
    }
  }
  ASSERT_EQ(order.size(), 100U);
  for (int job = 0; job < 100; ++job) {
    EXPECT_EQ(order[static_cast<std::size_t>(job)], job);
  }
  EXPECT_NE(threads.front(), std::this_thread::get_id());
  EXPECT_EQ(threads, std::vector(100, threads.front()));
}

TEST(SerialQueue, runsWhatJobsPostBeforeItEnds) {
  bool hasRun = false;
  {
    SerialQueue queue;
    queue.post([&] { queue.post([&] { hasRun = true; }); });
  }
  EXPECT_TRUE(hasRun);
}

TEST(SerialQueue, waitsForAJobAndThoseBeforeIt) {
  SerialQueue queue;
  std::vector<int> order;
  queue.post([&] { order.push_back(1); });
  queue.runAndWait([&] { order.push_back(2); });
  EXPECT_EQ(order, (std::vector{1, 2}));
}

// What a job owns may use the queue when it is destroyed, as a completion handler does that posts another
// job.
TEST(SerialQueue, destroysAJobBeforeTheNextAndWithoutALock) {
  std::vector<int> order;
  SerialQueue queue;
  struct Owned {
    ~Owned() {
      queue->post([destroyed = order] { destroyed->push_back(3); });
      order->push_back(1);
    }
    SerialQueue* queue;
    std::vector<int>* order;
  };
  std::shared_ptr<Owned> owned(new Owned{&queue, &order});
  queue.runAndWait([] {});
  queue.post([&queue, &order, owned = std::move(owned)] { queue.post([&order] { order.push_back(2); }); });
  queue.runAndWait([] {});
  queue.runAndWait([] {});
  queue.runAndWait([] {});
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

}  // namespace
}  // namespace tolvander::tests
