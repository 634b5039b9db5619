#include "TolvanderCore/Foundation/HashCombine.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

namespace tolvander::tests {

TEST(HashCombine, givesEqualValuesEqualHashes) {
  EXPECT_EQ(hashOfFields(std::string("a"), 1, std::optional<int>()),
            hashOfFields(std::string("a"), 1, std::optional<int>()));
  EXPECT_EQ(hashOfFields(std::vector<std::string>{"a", "b"}),
            hashOfFields(std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(hashOfFields(std::set<int>{2, 1}), hashOfFields(std::set<int>{1, 2}));
}

TEST(HashCombine, mindsOrderAndPlace) {
  EXPECT_NE(hashOfFields(1, 2), hashOfFields(2, 1));
  EXPECT_NE(hashOfFields(std::string("a"), std::string()), hashOfFields(std::string(), std::string("a")));
  EXPECT_NE(hashOfFields(std::vector{1, 2}), hashOfFields(std::vector{2, 1}));
  EXPECT_NE(hashOfFields(std::vector{1}, std::vector<int>{}),
            hashOfFields(std::vector<int>{}, std::vector{1}));
}

TEST(HashCombine, takesListsOfLists) {
  const std::vector<std::vector<int>> one{{1, 2}, {3}};
  const std::vector<std::vector<int>> other{{1}, {2, 3}};
  EXPECT_NE(hashOfFields(one), hashOfFields(other));
}

TEST(HashCombine, spreadsNeighbouringValues) {
  std::unordered_set<std::size_t> hashes;
  for (int x = 0; x < 200; ++x) {
    for (int y = 0; y < 200; ++y) {
      hashes.insert(hashOfFields(x, y));
    }
  }
  EXPECT_GT(hashes.size(), 39'900U);
}

}  // namespace tolvander::tests
