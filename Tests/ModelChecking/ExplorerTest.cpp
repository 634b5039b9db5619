#include "Tests/ModelChecking/Explorer.h"

#include <gtest/gtest.h>

#include <iostream>

#include "Tests/Support/Fixtures/CoordinatorWorld.h"
#include "Tests/Support/Machine/Thoroughness.h"

namespace tolvander::tests {
namespace {

// More commands than any of the finite models needs.
constexpr std::size_t unlimited = 40;

struct Scenario {
  std::string name;
  std::size_t depth;
  std::size_t slowDepth;
  Configuration configuration;
};

void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.name; }

// A record as the program wrote it before there were payload fingerprints.
ImportRecord oldRecord(const Bytes& bytes, const std::string& asset) {
  return recordOf(mediaFile(bytes), asset);
}

std::vector<Scenario> scenarios() {
  return {
      {"oneFile", unlimited, unlimited, {.cards = {{"a/1"}}}},
      {"twoFiles", unlimited, 3, {.cards = {{"a/1", "b/1"}}}},
      {"twoFilesOneByOne", unlimited, 2, {.cards = {{"a/1", "b/1"}}, .batchSize = 1}},
      {"oneFileTwice", unlimited, 2, {.cards = {{"a/1", "a/1", "b/1"}}}},
      {"onePictureTwice", unlimited, 2, {.cards = {{"a/1", "b/1", "a/2"}}}},
      {"onePictureOnTwoCards", unlimited, 4, {.cards = {{"a/1"}, {"a/2"}}}},
      {"onePictureOnTwoCardsInAnotherOrder", unlimited, 3, {.cards = {{"a/1"}, {"a/2", "a/1"}}}},
      {"twoCardsWithAPictureInCommon", 6, 2, {.cards = {{"a/1", "b/1"}, {"a/2"}}}},
      {"itemOfTheUser", unlimited, 2, {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}}},
      {"otherItemOfTheUser", unlimited, 2, {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"x/1"}}},
      {"searchThatOverlooksItems",
       unlimited,
       2,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .search = Search::overlooksUnlessBroader}},
      {"video", unlimited, 2, {.cards = {{"video/1", "b/1"}}}},
      {"userWhoAddsAPhoto", unlimited, 3, {.cards = {{"a/1"}}, .itemsAddedLater = {"a/1"}}},
      {"userWhoAddsAVideo", unlimited, 3, {.cards = {{"video/1"}}, .itemsAddedLater = {"video/1"}}},
      {"userWhoAddsAnyPhoto", 5, 2, {.cards = {{"a/1", "b/1"}}, .itemsAddedLater = {"a/1", "b/1"}}},
      {"oldRecordWithoutItem",
       unlimited,
       3,
       {.cards = {{"a/1", "b/1"}}, .records = {oldRecord("a/1", "an item of long ago")}}},
      {"oldRecordWithItem",
       unlimited,
       3,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .records = {oldRecord("a/1", "user a/1")}}},
      {"cameraThatIsNotAlwaysRecognised",
       unlimited,
       2,
       {.cards = {{"a/1", "a/2"}}, .isCharmera = {true, false}}},
      {"oneFileAndTheRecognizer", unlimited, unlimited, {.cards = {{"a/1"}}, .usesRecognizer = true}},
      {"itemOfTheUserAndTheRecognizer",
       unlimited,
       2,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"a/1"}, .usesRecognizer = true}},
      {"otherItemOfTheUserAndTheRecognizer",
       3,
       2,
       {.cards = {{"a/1", "b/1"}}, .itemsOfTheUser = {"x/1"}, .usesRecognizer = true}},
      {"videoAndTheRecognizer", unlimited, 2, {.cards = {{"video/1", "b/1"}}, .usesRecognizer = true}},
      {"userWhoAddsAPhotoAndTheRecognizer",
       unlimited,
       3,
       {.cards = {{"a/1"}}, .itemsAddedLater = {"a/1"}, .usesRecognizer = true}},
      {"threeFiles", 5, 2, {.cards = {{"a/1", "b/1", "c/1"}}}},
      {"threeFilesOneByOne", 4, 2, {.cards = {{"a/1", "b/1", "c/1"}}, .batchSize = 1}},
      {"threeFilesAtOnce", 5, 2, {.cards = {{"a/1", "b/1", "c/1"}}, .batchSize = 3}},
  };
}

void print(const Exploration& result) {
  std::cout << result.states << " states, " << result.transitions << " transitions, "
            << (result.isComplete ? "all there are, the last after " : "all within ") << result.depth
            << " commands\n";
}

class ScenarioTest : public testing::TestWithParam<Scenario> {};

TEST_P(ScenarioTest, breaksNoRuleOnAnyPath) {
  const std::size_t depth = isSanitized ? GetParam().slowDepth : GetParam().depth;
  const Exploration result = explore(GetParam().configuration, depth);
  print(result);
  ASSERT_FALSE(result.violation) << result.violation->text << "\n" << result.log;
  EXPECT_EQ(result.isComplete, depth == unlimited);
  EXPECT_TRUE(result.isComplete || result.depth == depth);
  // The exploration is only meaningful if all outcomes occur.
  for (std::size_t outcome = 0; outcome < outcomeCount; ++outcome) {
    EXPECT_GT(result.outcomes[outcome], 0U) << "outcome " << outcome;
  }
}

// The limit of the guarantee: suppose that even the broader search overlooks an item that an interrupted
// import left, and finds the user's own copy instead. If the user then deletes that copy, a restore imports
// the file again.
TEST(ExplorerTest, showsThatABroaderSearchMayOverlookNothing) {
  constexpr std::size_t depth = 8;
  const Exploration result =
      explore({.cards = {{"a/1"}}, .itemsAddedLater = {"a/1"}, .search = Search::overlooks}, depth);
  ASSERT_TRUE(result.violation);
  EXPECT_EQ(result.violation->rule, Rule::onceInTheLibrary);
  std::cout << result.log << "\nSo " << result.violation->text << ".\n";
}

INSTANTIATE_TEST_SUITE_P(, ScenarioTest, testing::ValuesIn(scenarios()),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace tolvander::tests
