#include "Tests/World/Walk.h"

#include <gtest/gtest.h>

#include <iostream>

#include "Tests/Support/CoordinatorWorld.h"
#include "Tests/World/Pace.h"

namespace tolvander::tests {
namespace {

// More commands than any of the closed worlds needs.
constexpr std::size_t toTheEnd = 40;

struct Road {
  std::string name;
  std::size_t depth;
  std::size_t slowDepth;
  Setting setting;
};

void PrintTo(const Road& road, std::ostream* stream) { *stream << road.name; }

// A record as the program wrote it before there were payload fingerprints.
ImportRecord oldRecord(const Bytes& bytes, const std::string& asset) {
  return recordOf(mediaFile(bytes), asset);
}

std::vector<Road> roads() {
  return {
      {"oneFile", toTheEnd, toTheEnd, {.cards = {{"a/1"}}}},
      {"twoFiles", toTheEnd, toTheEnd, {.cards = {{"a/1", "b/1"}}}},
      {"twoFilesOneByOne", toTheEnd, toTheEnd, {.cards = {{"a/1", "b/1"}}, .batchSize = 1}},
      {"oneFileTwice", toTheEnd, 6, {.cards = {{"a/1", "a/1", "b/1"}}}},
      {"onePictureTwice", toTheEnd, 6, {.cards = {{"a/1", "b/1", "a/2"}}}},
      {"onePictureOnTwoCards", toTheEnd, 8, {.cards = {{"a/1"}, {"a/2"}}}},
      {"onePictureOnTwoCardsInAnotherOrder", toTheEnd, 6, {.cards = {{"a/1"}, {"a/2", "a/1"}}}},
      {"twoCardsWithAPictureInCommon", 6, 3, {.cards = {{"a/1", "b/1"}, {"a/2"}}}},
      {"itemOfTheUser", toTheEnd, 4, {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}}},
      {"otherItemOfTheUser", toTheEnd, 4, {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"x/1"}}},
      {"searchThatOverlooksItems",
       toTheEnd,
       4,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .searchCanMiss = true}},
      {"video", toTheEnd, 5, {.cards = {{"video/1", "b/1"}}}},
      {"videoThatTheUserHas", toTheEnd, 4, {.cards = {{"video/1", "b/1"}}, .itemsOfTheUser = {"video/1"}}},
      {"oldRecordWithoutItem",
       toTheEnd,
       5,
       {.cards = {{"a/1", "b/1"}}, .records = {oldRecord("a/1", "an item of long ago")}}},
      {"oldRecordWithItem",
       toTheEnd,
       5,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .records = {oldRecord("a/1", "user a/1")}}},
      {"cameraThatIsNotAlwaysRecognised",
       toTheEnd,
       4,
       {.cards = {{"a/1", "a/2"}}, .isCharmera = {true, false}}},
      {"threeFiles", 5, 3, {.cards = {{"a/1", "b/1", "c/1"}}}},
      {"threeFilesOneByOne", 4, 2, {.cards = {{"a/1", "b/1", "c/1"}}, .batchSize = 1}},
      {"threeFilesAtOnce", 5, 3, {.cards = {{"a/1", "b/1", "c/1"}}, .batchSize = 3}},
  };
}

void print(const WalkResult& result) {
  std::cout << result.states << " states, " << result.transitions << " transitions, "
            << (result.isClosed ? "all there are, the last after " : "all within ") << result.depth
            << " commands\n";
}

class WalkTest : public testing::TestWithParam<Road> {};

TEST_P(WalkTest, breaksNoRuleOnAnyRoad) {
  const std::size_t depth = isSlow ? GetParam().slowDepth : GetParam().depth;
  const WalkResult result = walk(GetParam().setting, depth);
  print(result);
  ASSERT_FALSE(result.violation) << result.violation->text << "\n" << result.story;
  EXPECT_EQ(result.isClosed, depth == toTheEnd);
  EXPECT_TRUE(result.isClosed || result.depth == depth);
  // Proves something only if commands end in all the ways there are.
  for (std::size_t ending = 0; ending < endingCount; ++ending) {
    EXPECT_GT(result.endings[ending], 0U) << "ending " << ending;
  }
}

INSTANTIATE_TEST_SUITE_P(, WalkTest, testing::ValuesIn(roads()),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace tolvander::tests
