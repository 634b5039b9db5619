#include "Tests/ModelChecking/Walk.h"

#include <gtest/gtest.h>

#include <iostream>

#include "Tests/Support/Fixtures/CoordinatorWorld.h"
#include "Tests/Support/Machine/Thoroughness.h"

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
      {"twoFiles", toTheEnd, 3, {.cards = {{"a/1", "b/1"}}}},
      {"twoFilesOneByOne", toTheEnd, 2, {.cards = {{"a/1", "b/1"}}, .batchSize = 1}},
      {"oneFileTwice", toTheEnd, 2, {.cards = {{"a/1", "a/1", "b/1"}}}},
      {"onePictureTwice", toTheEnd, 2, {.cards = {{"a/1", "b/1", "a/2"}}}},
      {"onePictureOnTwoCards", toTheEnd, 4, {.cards = {{"a/1"}, {"a/2"}}}},
      {"onePictureOnTwoCardsInAnotherOrder", toTheEnd, 3, {.cards = {{"a/1"}, {"a/2", "a/1"}}}},
      {"twoCardsWithAPictureInCommon", 6, 2, {.cards = {{"a/1", "b/1"}, {"a/2"}}}},
      {"itemOfTheUser", toTheEnd, 2, {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}}},
      {"otherItemOfTheUser", toTheEnd, 2, {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"x/1"}}},
      {"searchThatOverlooksItems",
       toTheEnd,
       2,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .search = Search::overlooksUnlessBroader}},
      {"video", toTheEnd, 2, {.cards = {{"video/1", "b/1"}}}},
      {"userWhoAddsAPhoto", toTheEnd, 3, {.cards = {{"a/1"}}, .itemsToCome = {"a/1"}}},
      {"userWhoAddsAVideo", toTheEnd, 3, {.cards = {{"video/1"}}, .itemsToCome = {"video/1"}}},
      {"userWhoAddsAnyPhoto", 5, 2, {.cards = {{"a/1", "b/1"}}, .itemsToCome = {"a/1", "b/1"}}},
      {"oldRecordWithoutItem",
       toTheEnd,
       3,
       {.cards = {{"a/1", "b/1"}}, .records = {oldRecord("a/1", "an item of long ago")}}},
      {"oldRecordWithItem",
       toTheEnd,
       3,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .records = {oldRecord("a/1", "user a/1")}}},
      {"cameraThatIsNotAlwaysRecognised",
       toTheEnd,
       2,
       {.cards = {{"a/1", "a/2"}}, .isCharmera = {true, false}}},
      {"oneFileAndTheRecognizer", toTheEnd, toTheEnd, {.cards = {{"a/1"}}, .usesRecognizer = true}},
      {"itemOfTheUserAndTheRecognizer",
       toTheEnd,
       2,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .usesRecognizer = true}},
      {"otherItemOfTheUserAndTheRecognizer",
       3,
       2,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"x/1"}, .usesRecognizer = true}},
      {"videoAndTheRecognizer", toTheEnd, 2, {.cards = {{"video/1", "b/1"}}, .usesRecognizer = true}},
      {"userWhoAddsAPhotoAndTheRecognizer",
       toTheEnd,
       3,
       {.cards = {{"a/1"}}, .itemsToCome = {"a/1"}, .usesRecognizer = true}},
      {"threeFiles", 5, 2, {.cards = {{"a/1", "b/1", "c/1"}}}},
      {"threeFilesOneByOne", 4, 2, {.cards = {{"a/1", "b/1", "c/1"}}, .batchSize = 1}},
      {"threeFilesAtOnce", 5, 2, {.cards = {{"a/1", "b/1", "c/1"}}, .batchSize = 3}},
  };
}

void print(const WalkResult& result) {
  std::cout << result.states << " states, " << result.transitions << " transitions, "
            << (result.isClosed ? "all there are, the last after " : "all within ") << result.depth
            << " commands\n";
}

class RoadTest : public testing::TestWithParam<Road> {};

TEST_P(RoadTest, breaksNoRuleOnAnyRoad) {
  const std::size_t depth = isSanitized ? GetParam().slowDepth : GetParam().depth;
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

// What the promise rests on. If even the broader search overlooks an item of ours that an interrupted import
// left, and the user's own copy, which it found instead, goes away, a restore imports the file again.
TEST(WalkTest, showsThatABroaderSearchMayOverlookNothing) {
  constexpr std::size_t depth = 8;
  const WalkResult result =
      walk({.cards = {{"a/1"}}, .itemsToCome = {"a/1"}, .search = Search::overlooks}, depth);
  ASSERT_TRUE(result.violation);
  EXPECT_EQ(result.violation->rule, Rule::onceInTheLibrary);
  std::cout << result.story << "\nSo " << result.violation->text << ".\n";
}

INSTANTIATE_TEST_SUITE_P(, RoadTest, testing::ValuesIn(roads()),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace tolvander::tests
