#include "TolvanderCore/Concurrency/Turn.h"

#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <optional>
#include <thread>
#include <vector>

namespace tolvander::tests {

TEST(Turn, isFreeAgainWhenItsHolderEnds) {
  Turn turn;
  { const Turn::Holder holder(turn); }
  const Turn::Holder holder(turn);
}

TEST(Turn, isHeldByOneAtATime) {
  Turn turn;
  int inside = 0;  // guarded by the turn alone, so that ThreadSanitizer sees any overlap
  int overlaps = 0;
  int total = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int index = 0; index < 4; ++index) {
    threads.emplace_back([&] {
      for (int repetition = 0; repetition < 500; ++repetition) {
        Turn::Holder holder(turn);
        overlaps += inside++;
        ++total;
        --inside;
        if (repetition % 7 == 0) {
          holder.release();
          holder.retake();
          ++total;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(overlaps, 0);
  EXPECT_EQ(total, 4 * (500 + 72));
}

// Who waits is let in before who comes later, whoever is quicker.
TEST(Turn, letsTheWaitingGoFirstWhenRetaken) {
  for (int round = 0; round < 100; ++round) {
    Turn turn;
    std::vector<int> order;
    std::latch arriving(1);
    std::optional<Turn::Holder> holder(std::in_place, turn);
    std::promise<void> entered;
    std::thread other([&] {
      arriving.count_down();
      const Turn::Holder waiting(turn);
      order.push_back(1);
      entered.set_value();
    });
    arriving.wait();
    holder->release();
    entered.get_future().wait();  // it comes in only because the turn was released
    holder->retake();
    order.push_back(2);
    holder.reset();
    other.join();
    EXPECT_EQ(order, (std::vector{1, 2}));
  }
}

TEST(Turn, goesRoundInTheOrderOfComing) {
  Turn turn;
  std::vector<int> order;
  Turn::Holder first(turn);
  std::vector<std::thread> threads;
  constexpr int count = 5;
  for (int index = 0; index < count; ++index) {
    threads.emplace_back([&, index] {
      const Turn::Holder holder(turn);
      order.push_back(index);
    });
    while (turn.waitingCount() != static_cast<std::size_t>(index) + 1) {
      std::this_thread::yield();
    }
  }
  first.release();
  for (std::thread& thread : threads) {
    thread.join();
  }
  first.retake();
  EXPECT_EQ(order, (std::vector{0, 1, 2, 3, 4}));
}

TEST(TurnDeathTest, endsTheProcessWhenMisused) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Turn turn;
  Turn::Holder holder(turn);
  EXPECT_DEATH(holder.retake(), "a turn is taken once");
  holder.release();
  EXPECT_DEATH(holder.release(), "only a held turn can be given up");
}

}  // namespace tolvander::tests
