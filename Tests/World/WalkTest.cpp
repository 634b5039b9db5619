#include "Tests/World/Walk.h"

#include <gtest/gtest.h>

#include <iostream>

#include "Tests/Support/CoordinatorWorld.h"

namespace tolvander {
namespace {

using tests::Ending;
using tests::Setting;
using tests::WalkResult;

TEST(ImportWorld, probe) {
  Setting setting{.cards = {{"a/1", "b/1"}}};
  for (std::size_t depth = 1; depth < 8; ++depth) {
    const auto start = std::chrono::steady_clock::now();
    const WalkResult result = tests::walk(setting, depth);
    std::cout << depth << ": " << result.states << " states, " << result.transitions << " transitions "
              << std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() << " s closed "
              << result.isClosed << " endings";
    for (auto count : result.endings) std::cout << " " << count;
    std::cout << std::endl;
    if (result.violation) {
      FAIL() << result.violation->text << "\n" << result.story;
    }
    if (result.isClosed) break;
  }
}

}  // namespace
}  // namespace tolvander
