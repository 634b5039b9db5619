#include "TolvanderApp/Concurrency/Observed.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "Tests/Support/Doubles/VirtualMainThread.h"

namespace tolvander::tests {
namespace {

using app::Observed;
using app::Subscription;
using Log = std::vector<std::string>;

struct Owner {
  using Number = app::OwnedObserved<int, Owner>;

  static void assign(Number& number, int value) { number = value; }
  static Observed<int>& assignable(Number& number) { return number; }
};

static_assert(!std::is_assignable_v<Owner::Number&, int>);
static_assert(!std::is_assignable_v<Owner::Number&, const Owner::Number&>);
static_assert(!std::is_convertible_v<Owner::Number&, Observed<int>&>);

class ObservedTest : public testing::Test {
 protected:
  VirtualMainThread mainThread_;
  Log log_;
  app::ChangeNotifier notifier_{mainThread_};
};

}  // namespace

TEST_F(ObservedTest, readsAsItsValueAndReportsEveryAssignment) {
  Observed<std::string> message(notifier_, "Waiting for connection");
  const auto observer = notifier_.observe([&] { log_.push_back(message); });
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, Log());  // the initial value is no change
  EXPECT_EQ(message.value(), "Waiting for connection");
  EXPECT_EQ(message->size(), 22U);
  message = "one";
  message = "two";
  EXPECT_EQ(*message, "two");
  mainThread_.runUntilIdle();
  message = "two";
  mainThread_.runUntilIdle();
  message.update([](std::string& text) { text += " and three"; });
  mainThread_.runUntilIdle();
  EXPECT_EQ(log_, (Log{"two", "two", "two and three"}));
}

TEST_F(ObservedTest, takesAbsenceAndTheValueOfAnother) {
  Observed<std::optional<int>> count(notifier_);
  const Observed<std::optional<int>> other(notifier_, 3);
  EXPECT_EQ(*count, std::nullopt);
  count = 2;
  EXPECT_EQ(*count, 2);
  count = std::nullopt;
  EXPECT_EQ(*count, std::nullopt);
  count = other;
  EXPECT_EQ(*count, 3);
  count = {};
  EXPECT_EQ(*count, std::nullopt);
}

TEST_F(ObservedTest, callsItsActionAndThenItsObserversWithinEachAssignment) {
  Observed<int>* field = nullptr;
  Observed<int> number(notifier_, 1, [&](int before) {
    log_.push_back("action " + std::to_string(before) + " to " + std::to_string(*field));
  });
  field = &number;
  const auto one = number.observe([&](const int& value) {
    EXPECT_EQ(&value, &*number);
    log_.push_back("one " + std::to_string(value));
  });
  const auto other = number.observe([this](int value) { log_.push_back("other " + std::to_string(value)); });
  EXPECT_EQ(log_, Log());
  number = 2;
  number = 2;
  number.update([](int& value) { value = 3; });
  EXPECT_EQ(log_, (Log{"action 1 to 2", "one 2", "other 2", "action 2 to 2", "one 2", "other 2",
                       "action 2 to 3", "one 3", "other 3"}));
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

TEST_F(ObservedTest, callsNoObserverWhoseSubscriptionHasEnded) {
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
    log_.push_back(*held);  // the captures live until the call ends
  });
  number = 1;
  number = 2;
  EXPECT_EQ(log_, Log{"held"});
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ObservedTest, mayEndBeforeItsObservers) {
  std::optional<Observed<int>> number(std::in_place, notifier_);
  auto observer = number->observe([this](int) { log_.emplace_back("never"); });
  number.reset();
  observer.end();
  EXPECT_EQ(log_, Log());
}

TEST_F(ObservedTest, isAssignedByItsOwnerAndByThePartsThatAreGivenIt) {
  Owner::Number number(notifier_, 1);
  Log seen;
  const auto observer = number.observe([&](int value) { seen.push_back(std::to_string(value)); });
  Owner::assign(number, 2);
  EXPECT_EQ(number, 2);
  Owner::assignable(number) = 3;
  EXPECT_EQ(number.value(), 3);
  EXPECT_EQ(seen, (Log{"2", "3"}));
}

}  // namespace tolvander::tests
