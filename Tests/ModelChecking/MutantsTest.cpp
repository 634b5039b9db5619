#include "Tests/ModelChecking/Mutants.h"

#include <gtest/gtest.h>

#include <iostream>

#include "Tests/ModelChecking/Walk.h"
#include "Tests/Support/Machine/Thoroughness.h"

namespace tolvander::tests {
namespace {

class MutantTest : public testing::TestWithParam<Mutant> {};

TEST_P(MutantTest, isCaughtByTheRuleThatItBreaks) {
  constexpr std::size_t depth = 6;
  const WalkResult result = walk(GetParam().setting, depth);
  ASSERT_TRUE(result.violation) << "not caught in " << result.transitions << " transitions";
  EXPECT_EQ(result.violation->rule, GetParam().broken) << result.violation->text << "\n" << result.story;
  std::cout << result.story << "\nSo " << result.violation->text << ".\n";
}

// Without its mistake the same world breaks no rule.
TEST_P(MutantTest, isInnocentWithoutItsMistake) {
  constexpr std::size_t depth = isSanitized ? 2 : 3;
  Setting setting = GetParam().setting;
  setting.fault = {};
  const WalkResult result = walk(setting, depth);
  EXPECT_FALSE(result.violation) << result.violation->text << "\n" << result.story;
}

INSTANTIATE_TEST_SUITE_P(, MutantTest, testing::ValuesIn(mutants()),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace tolvander::tests
