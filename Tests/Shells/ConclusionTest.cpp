#include "Shells/CommandLine/Conclusion.h"

#include <gtest/gtest.h>

#include <string>

namespace tolvander::shell {
namespace {

using app::RunOutcome;

std::string shownBy(RunOutcome outcome, const std::optional<std::string>& failure) {
  testing::internal::CaptureStderr();
  conclude(outcome, failure);
  return testing::internal::GetCapturedStderr();
}

TEST(Conclusion, showsAFailureUnlessTheUserStoppedTheCommand) {
  EXPECT_EQ(shownBy(RunOutcome::failed, "It broke."), "tolvanderctl: It broke.\n");
  EXPECT_EQ(shownBy(RunOutcome::stopped, "It broke."), "");
  EXPECT_EQ(shownBy(RunOutcome::done, std::nullopt), "");
}

}  // namespace
}  // namespace tolvander::shell
