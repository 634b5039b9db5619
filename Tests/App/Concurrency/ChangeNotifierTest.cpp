#include "TolvanderApp/Concurrency/ChangeNotifier.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderApp/Concurrency/Observed.h"

namespace tolvander::tests {

using app::ChangeNotifier;
using app::Observed;
using app::Subscription;

namespace {

using Log = std::vector<std::string>;

class ChangeNotifierTest : public testing::Test {
 protected:
  Subscription logging(std::string name) {
    return notifier_.observe([this, name] { log_.push_back(name); });
  }

  VirtualMainThread mainThread_;
  Log log_;
  ChangeNotifier notifier_{mainThread_};
};

using ObservedTest = ChangeNotifierTest;

}  // namespace

TEST_F(ChangeNotifierTest, tellsOnceOfChangesThatCameTogether) {
  const auto first = logging("first");
  const auto second = logging("second");
  notifier_.changed();
  notifier_.changed();
  EXPECT_EQ(log_, Log());
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"first", "second"}));
  notifier_.changed();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"first", "second", "first", "second"}));
}

TEST_F(ChangeNotifierTest, isSilentWithoutAChange) {
  const auto observer = logging("never");
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());
}

TEST_F(ChangeNotifierTest, tellsNobodyWhoseSubscriptionHasEnded) {
  std::optional<Subscription> ended(logging("ended"));
  const auto stays = logging("stays");
  notifier_.changed();
  ended.reset();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"stays"});
}

TEST_F(ChangeNotifierTest, tellsAnObserverThatCameAfterTheChange) {
  notifier_.changed();
  const auto observer = logging("observer");
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"observer"});
}

TEST_F(ChangeNotifierTest, letsAnObserverEndItselfAndAnother) {
  std::optional<Subscription> itself;
  std::optional<Subscription> another;
  const auto held = std::make_shared<int>(1);
  itself = notifier_.observe([&, held] {
    another.reset();
    itself.reset();
    log_.push_back(std::to_string(*held));  // what it holds lives while it runs
  });
  another = logging("never");
  const auto stays = logging("stays");
  notifier_.changed();
  mainThread_.runUntilIdle();
  notifier_.changed();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"1", "stays", "stays"}));
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ChangeNotifierTest, tellsAnObserverThatCameDuringANotificationOfTheNextOne) {
  std::vector<Subscription> came;
  const auto observer = notifier_.observe([&] {
    log_.emplace_back("observer");
    if (came.empty()) {
      came.push_back(logging("came"));
    }
  });
  notifier_.changed();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"observer"});
  notifier_.changed();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"observer", "observer", "came"}));
}

TEST_F(ChangeNotifierTest, tellsOfAChangeThatAnObserverMakesInANewNotification) {
  int left = 2;
  const auto changing = notifier_.observe([&] {
    log_.emplace_back("changing");
    if (left-- > 0) {
      notifier_.changed();
    }
  });
  const auto other = logging("other");
  notifier_.changed();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"changing", "other", "changing", "other", "changing", "other"}));
}

TEST_F(ChangeNotifierTest, endsBeforeItsObserversAndItsNotification) {
  std::optional<ChangeNotifier> notifier(std::in_place, mainThread_);
  auto observer = notifier->observe([this] { log_.emplace_back("never"); });
  notifier->changed();
  notifier.reset();
  mainThread_.runUntilIdle();
  observer.end();
  EXPECT_EQ(log_, Log());
}

TEST_F(ChangeNotifierTest, mayEndWhileItTells) {
  std::optional<ChangeNotifier> notifier(std::in_place, mainThread_);
  const auto first = notifier->observe([&] { notifier.reset(); });
  const auto second = notifier->observe([this] { log_.emplace_back("second"); });
  notifier->changed();
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"second"});
}

TEST_F(ObservedTest, readsAsItsValueAndTellsOfEveryAssignment) {
  Observed<std::string> message(notifier_, "Waiting for connection");
  Log seen;
  const auto observer = notifier_.observe([&] { seen.push_back(message); });
  mainThread_.runUntilIdle();
  EXPECT_EQ(seen, Log());  // the initial value is no change
  EXPECT_EQ(message.value(), "Waiting for connection");
  EXPECT_EQ(message->size(), 22U);
  message = "one";
  message = "two";
  EXPECT_EQ(*message, "two");
  mainThread_.runUntilIdle();
  message = "two";
  mainThread_.runUntilIdle();
  EXPECT_EQ(seen, (Log{"two", "two"}));
}

TEST_F(ObservedTest, takesAbsenceAndTheValueOfAnotherField) {
  Observed<std::optional<int>> count(notifier_);
  const Observed<std::optional<int>> other(notifier_, 3);
  const auto observer = logging("changed");
  EXPECT_FALSE(count->has_value());
  count = 2;
  EXPECT_EQ(*count, 2);
  count = std::nullopt;
  EXPECT_EQ(*count, std::nullopt);
  count = other;
  EXPECT_EQ(*count, 3);
  count = {};
  EXPECT_EQ(*count, std::nullopt);
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"changed"});
}

TEST_F(ObservedTest, isChangedInPlace) {
  Observed<std::vector<int>> list(notifier_, {1});
  const auto observer = logging("changed");
  list.update([](std::vector<int>& numbers) { numbers.push_back(2); });
  EXPECT_EQ(*list, (std::vector{1, 2}));
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log{"changed"});
}

TEST_F(ObservedTest, actsWithTheOldValueWithinEachAssignment) {
  Observed<bool>* field = nullptr;
  Observed<bool> isSyncing(notifier_, false, [&](bool old) {
    log_.push_back(std::string(old ? "true" : "false") + " to " + (*field ? "true" : "false"));
  });
  field = &isSyncing;
  isSyncing = true;
  isSyncing = true;
  isSyncing = false;
  EXPECT_EQ(log_, (Log{"false to true", "true to true", "true to false"}));
}

TEST_F(ObservedTest, mayBeAssignedByItsAction) {
  Observed<int>* field = nullptr;
  Observed<int> number(notifier_, 0, [&](int) {
    if (*field < 3) {
      *field = *field + 1;
    }
  });
  field = &number;
  number = 1;
  EXPECT_EQ(*number, 3);
}

TEST_F(ObservedTest, showsItsObserversEveryValueAtOnce) {
  Observed<std::string> message(notifier_, "first",
                                [this](const std::string&) { log_.emplace_back("action"); });
  const auto one = message.observe([&](const std::string& value) {
    EXPECT_EQ(&value, &*message);
    log_.push_back("one " + value);
  });
  const auto other = message.observe([this](const std::string& value) { log_.push_back("other " + value); });
  EXPECT_EQ(log_, Log());  // the initial value is no change
  message = "second";
  EXPECT_EQ(log_, (Log{"action", "one second", "other second"}));
  log_.clear();
  message = "second";
  message.update([](std::string& text) { text += " and third"; });
  EXPECT_EQ(log_, (Log{"action", "one second", "other second", "action", "one second and third",
                       "other second and third"}));
}

TEST_F(ObservedTest, showsNothingToAnObserverWhoseSubscriptionHasEnded) {
  Observed<int> number(notifier_);
  auto ended = number.observe([this](int) { log_.emplace_back("ended"); });
  const auto stays = number.observe([this](int value) { log_.push_back(std::to_string(value)); });
  ended.end();
  number = 1;
  EXPECT_EQ(log_, Log{"1"});
}

TEST_F(ObservedTest, letsAnObserverEndItself) {
  Observed<int> number(notifier_);
  Subscription itself;
  const auto held = std::make_shared<std::string>("held");
  itself = number.observe([&, held](int) {
    itself.end();
    log_.push_back(*held);  // what it holds lives while it runs
  });
  number = 1;
  number = 2;
  EXPECT_EQ(log_, Log{"held"});
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ObservedTest, endsBeforeItsObservers) {
  std::optional<Observed<int>> number(std::in_place, notifier_);
  auto observer = number->observe([this](int) { log_.emplace_back("never"); });
  number.reset();
  observer.end();
  EXPECT_EQ(log_, Log());
}

TEST_F(ObservedTest, isAssignedByItsObserver) {
  Observed<int> number(notifier_);
  const auto observer = notifier_.observe([&] {
    log_.push_back(std::to_string(*number));
    if (number < 3) {
      number = number + 1;
    }
  });
  number = 1;
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"1", "2", "3"}));
}

}  // namespace tolvander::tests
