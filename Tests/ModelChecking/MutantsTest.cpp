#include "Tests/ModelChecking/Mutants.h"

#include <gtest/gtest.h>

#include <iostream>

#include "Tests/ModelChecking/Explorer.h"
#include "Tests/Support/Machine/Thoroughness.h"

namespace tolvander::tests {
namespace {

class MutantTest : public testing::TestWithParam<Mutant> {};

TEST_P(MutantTest, isCaughtByTheRuleThatItBreaks) {
  constexpr std::size_t depth = 6;
  const Exploration result = explore(GetParam().configuration, depth);
  ASSERT_TRUE(result.violation) << "not caught in " << result.transitions << " transitions";
  EXPECT_EQ(result.violation->rule, GetParam().broken) << result.violation->text << "\n" << result.log;
  std::cout << result.log << "\nSo " << result.violation->text << ".\n";
}

// Without its bug, the same configuration violates no invariant.
TEST_P(MutantTest, isInnocentWithoutItsMistake) {
  constexpr std::size_t depth = isSanitized ? 2 : 3;
  Configuration configuration = GetParam().configuration;
  configuration.fault = {};
  const Exploration result = explore(configuration, depth);
  EXPECT_FALSE(result.violation) << result.violation->text << "\n" << result.log;
}

INSTANTIATE_TEST_SUITE_P(, MutantTest, testing::ValuesIn(mutants()),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace tolvander::tests
