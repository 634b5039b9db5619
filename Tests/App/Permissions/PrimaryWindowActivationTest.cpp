#include "TolvanderApp/PrimaryWindowActivation.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace tolvander::tests {
namespace {

using app::ActivationPolicy;
using Policies = std::vector<ActivationPolicy>;

class PrimaryWindowActivation : public testing::Test {
 protected:
  Policies applied;
  app::PrimaryWindowActivation activation{[this](ActivationPolicy policy) {
    applied.push_back(policy);
    return true;
  }};
};

TEST_F(PrimaryWindowActivation, startsInTheDockUnlessInTheBackground) {
  activation.willFinishLaunching(false);
  EXPECT_EQ(applied, Policies{ActivationPolicy::regular});
  EXPECT_EQ(activation.windowGeneration(), std::nullopt);
  activation.windowWillOpen();
  applied.clear();
  activation.willFinishLaunching(true);
  EXPECT_EQ(applied, Policies{ActivationPolicy::accessory});
  EXPECT_EQ(activation.windowGeneration(), std::nullopt);
}

TEST_F(PrimaryWindowActivation, isInTheDockWhileTheWindowIsOpen) {
  const UUID generation = activation.windowWillOpen();
  EXPECT_EQ(applied, Policies{ActivationPolicy::regular});
  EXPECT_EQ(activation.windowGeneration(), generation);
  activation.windowDidClose(generation);
  EXPECT_EQ(applied, (Policies{ActivationPolicy::regular, ActivationPolicy::accessory}));
  EXPECT_EQ(activation.windowGeneration(), std::nullopt);
}

TEST_F(PrimaryWindowActivation, staysInTheDockWhenAnEarlierOpeningIsReportedClosed) {
  const UUID first = activation.windowWillOpen();
  const UUID second = activation.windowWillOpen();
  EXPECT_NE(first, second);
  activation.windowDidClose(first);
  activation.windowDidClose(std::nullopt);
  EXPECT_EQ(applied, (Policies{ActivationPolicy::regular, ActivationPolicy::regular}));
  EXPECT_EQ(activation.windowGeneration(), second);
}

TEST_F(PrimaryWindowActivation, leavesTheDockWhenAWindowOfNoOpeningCloses) {
  activation.windowDidClose(std::nullopt);
  EXPECT_EQ(applied, Policies{ActivationPolicy::accessory});
}

}  // namespace
}  // namespace tolvander::tests
