#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "Tests/ModelChecking/Invariants.h"
#include "Tests/Support/Machine/Thoroughness.h"

namespace tolvander::tests {
namespace {

struct Life {
  std::size_t commands = 0;
  std::size_t runs = 0;
  std::size_t imported = 0;
  std::size_t mostFiles = 0;
  std::optional<Violation> violation{};
  std::string story{};  // of the last command
};

std::size_t filesOn(const std::vector<std::vector<Bytes>>& cards) {
  std::size_t count = 0;
  for (const std::vector<Bytes>& card : cards) {
    count += card.size();
  }
  return count;
}

// Some files repeat others of the card or of another card, as a whole or under another header.
std::vector<std::vector<Bytes>> randomCards(RandomChoices& choices, std::size_t mostFiles) {
  const std::size_t pictures = 1 + choices.oneOf(2 * mostFiles);
  std::vector<std::vector<Bytes>> cards(1 + choices.oneOf(3));
  for (std::vector<Bytes>& card : cards) {
    const std::size_t files = choices.oneOf(mostFiles + 1);
    for (std::size_t file = 0; file < files; ++file) {
      card.push_back("p" + std::to_string(choices.oneOf(pictures)) + "/" + std::to_string(choices.oneOf(2)));
    }
  }
  return cards;
}

Setting randomSetting(RandomChoices& choices) {
  constexpr std::size_t sizes[] = {5, 20, 100, 200};  // files on a card
  constexpr std::int64_t batches[] = {1, 4, 16};
  Setting setting;
  setting.cards = randomCards(choices, sizes[choices.oneOf(std::size(sizes))]);
  setting.batchSize = batches[choices.oneOf(std::size(batches))];
  if (choices.oneOf(4) == 0) {
    setting.search = Search::overlooksUnlessBroader;
  }
  if (choices.oneOf(4) == 0) {
    setting.isCharmera = {true, false};
  }
  for (const Bytes& file : setting.cards.front()) {
    if (choices.oneOf(10) == 0) {
      setting.itemsOfTheUser.insert(file);
    }
  }
  return setting;
}

// One world from its beginning through some commands. The same for the same seed.
Life live(std::uint64_t seed, const Fault& fault = {}) {
  constexpr std::size_t commands = 40;
  constexpr std::size_t troubles[] = {0, 1, 5, 20, 100, 500};  // in a thousand
  RandomChoices ofSetting(seed, 0);
  Setting setting = randomSetting(ofSetting);
  setting.fault = fault;
  RandomChoices choices(seed, troubles[ofSetting.oneOf(std::size(troubles))]);
  World world(setting);
  State state = world.start();
  Life life{.mostFiles = filesOn(setting.cards)};
  while (life.commands < commands && !life.violation) {
    std::optional<Transition> transition = world.step(state, choices);
    if (!transition) {
      continue;
    }
    ++life.commands;
    life.runs += transition->conduct.isRun ? 1 : 0;
    life.imported += transition->conduct.answered.size();
    life.violation = violationIn(world, state, *transition);
    life.story = std::move(transition->conduct.story);
    state = std::move(transition->after);
  }
  return life;
}

std::string judgementOf(std::uint64_t seed, const Life& life) {
  return "seed " + std::to_string(seed) + ", command " + std::to_string(life.commands) + ": " +
         life.violation->text + "\n" + life.story;
}

// TOLVANDER_WORLD_SEED repeats a single life.
TEST(RandomisedWorld, breaksNoRule) {
  std::uint64_t first = 1;
  std::uint64_t last = isSanitized ? 8 : 400;
  if (const char* seed = std::getenv("TOLVANDER_WORLD_SEED")) {
    first = last = std::stoull(seed);
  }
  Life all;
  for (std::uint64_t seed = first; seed <= last; ++seed) {
    const Life life = live(seed);
    ASSERT_FALSE(life.violation) << judgementOf(seed, life);
    all.commands += life.commands;
    all.runs += life.runs;
    all.imported += life.imported;
    all.mostFiles = std::max(all.mostFiles, life.mostFiles);
  }
  std::cout << "seeds " << first << " to " << last << ": " << all.commands << " commands, " << all.runs
            << " of them runs, " << all.imported << " files imported, at most " << all.mostFiles
            << " files in a world\n";
  EXPECT_TRUE(all.imported > 0 || first == last);
}

TEST(RandomisedWorld, catchesAnUnmarkedImport) {
  const Fault fault = {.steps = [](World&, MediaImportTransaction::Steps& steps) {
    steps.begin = [](const MediaImportTransaction::Batch&) {};
  }};
  std::uint64_t seed = 1;
  Life life = live(seed, fault);
  while (!life.violation && seed < 100) {
    life = live(++seed, fault);
  }
  ASSERT_TRUE(life.violation);
  EXPECT_EQ(life.violation->rule, Rule::recordOrMark);
  EXPECT_EQ(judgementOf(seed, life), judgementOf(seed, live(seed, fault)));  // a seed repeats its life
}

}  // namespace
}  // namespace tolvander::tests
