#include "TolvanderApp/Concurrency/ChangeNotifier.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"

namespace tolvander::tests {

using app::ChangeNotifier;
using app::Subscription;

namespace {

using Log = std::vector<std::string>;

class ChangeNotifierTest : public testing::Test {
 protected:
  Subscription logging(std::string name) {
    return notifier_->observe([this, name] { log_.push_back(name); });
  }
  Log afterAChange() {
    notifier_->changed();
    return afterNotifications();
  }
  Log afterNotifications() {
    mainThread_.runUntilIdle();
    return std::exchange(log_, {});
  }

  VirtualMainThread mainThread_;
  Log log_;
  std::optional<ChangeNotifier> notifier_{std::in_place, mainThread_};
};

}  // namespace

TEST_F(ChangeNotifierTest, reportsSeveralChangesOnceAndLater) {
  const auto first = logging("first");
  const auto second = logging("second");
  EXPECT_EQ(afterNotifications(), Log());
  notifier_->changed();
  notifier_->changed();
  EXPECT_EQ(log_, Log());
  EXPECT_EQ(afterNotifications(), (Log{"first", "second"}));
  EXPECT_EQ(afterAChange(), (Log{"first", "second"}));
}

TEST_F(ChangeNotifierTest, callsTheObserversThatThereAreWhenItNotifies) {
  std::optional<Subscription> ended(logging("ended"));
  notifier_->changed();
  ended.reset();
  const auto late = logging("late");
  EXPECT_EQ(afterNotifications(), Log{"late"});
}

TEST_F(ChangeNotifierTest, letsAnObserverEndItselfAndAnother) {
  std::optional<Subscription> itself;
  std::optional<Subscription> another;
  const auto held = std::make_shared<std::string>("held");
  itself = notifier_->observe([&, held] {
    another.reset();
    itself.reset();
    log_.push_back(*held);  // the captures live until the call ends
  });
  another = logging("never");
  const auto stays = logging("stays");
  EXPECT_EQ(afterAChange(), (Log{"held", "stays"}));
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(afterAChange(), Log{"stays"});
}

TEST_F(ChangeNotifierTest, callsAnObserverThatCameDuringANotificationAtTheNextOne) {
  std::vector<Subscription> added;
  const auto observer = notifier_->observe([&] {
    log_.emplace_back("observer");
    if (added.empty()) {
      added.push_back(logging("added"));
    }
  });
  EXPECT_EQ(afterAChange(), Log{"observer"});
  EXPECT_EQ(afterAChange(), (Log{"observer", "added"}));
}

TEST_F(ChangeNotifierTest, reportsAChangeThatAnObserverMakesInANewNotification) {
  const auto changing = notifier_->observe([&] {
    log_.emplace_back("changing");
    if (log_.size() < 4) {
      notifier_->changed();
    }
  });
  const auto other = logging("other");
  EXPECT_EQ(afterAChange(), (Log{"changing", "other", "changing", "other", "changing", "other"}));
}

TEST_F(ChangeNotifierTest, mayEndBeforeItsObserversAndItsNotification) {
  auto observer = logging("never");
  notifier_->changed();
  notifier_.reset();
  EXPECT_EQ(afterNotifications(), Log());
  observer.end();
}

TEST_F(ChangeNotifierTest, mayEndDuringItsNotification) {
  const auto first = notifier_->observe([&] { notifier_.reset(); });
  const auto second = logging("second");
  EXPECT_EQ(afterAChange(), Log{"second"});
}

}  // namespace tolvander::tests
