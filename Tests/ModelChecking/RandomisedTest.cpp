#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "Tests/ModelChecking/Invariants.h"
#include "Tests/Support/Machine/Thoroughness.h"

namespace tolvander::tests {
namespace {

struct RandomRun {
  std::size_t commands = 0;
  std::size_t runs = 0;
  std::size_t imported = 0;
  std::size_t mostFiles = 0;
  std::optional<Violation> violation{};
  std::string log{};  // of the last command
};

std::size_t filesOn(const std::vector<std::vector<Bytes>>& cards) {
  std::size_t count = 0;
  for (const std::vector<Bytes>& card : cards) {
    count += card.size();
  }
  return count;
}

// Some files repeat others of the same or another card, completely or with another header.
std::vector<std::vector<Bytes>> randomCards(RandomChoices& choices, std::size_t mostFiles) {
  const std::size_t pictures = 1 + choices.choose(2 * mostFiles);
  std::vector<std::vector<Bytes>> cards(1 + choices.choose(3));
  for (std::vector<Bytes>& card : cards) {
    const std::size_t files = choices.choose(mostFiles + 1);
    for (std::size_t file = 0; file < files; ++file) {
      card.push_back("p" + std::to_string(choices.choose(pictures)) + "/" +
                     std::to_string(choices.choose(2)));
    }
  }
  return cards;
}

Configuration randomConfiguration(RandomChoices& choices) {
  constexpr std::size_t sizes[] = {5, 20, 100, 200};  // files on a card
  constexpr std::int64_t batches[] = {1, 4, 16};
  Configuration configuration;
  configuration.cards = randomCards(choices, sizes[choices.choose(std::size(sizes))]);
  configuration.batchSize = batches[choices.choose(std::size(batches))];
  if (choices.choose(4) == 0) {
    configuration.search = Search::overlooksUnlessBroader;
  }
  if (choices.choose(4) == 0) {
    configuration.isCharmera = {true, false};
  }
  for (const Bytes& file : configuration.cards.front()) {
    if (choices.choose(10) == 0) {
      configuration.itemsOfTheUser.insert(file);
    }
  }
  return configuration;
}

// A random sequence of commands on a random configuration. The same for the same seed.
RandomRun runRandomly(std::uint64_t seed, const Fault& fault = {}) {
  constexpr std::size_t commands = 40;
  constexpr std::size_t failureRates[] = {0, 1, 5, 20, 100, 500};  // of 1,000 actions
  RandomChoices configurationChoices(seed, 0);
  Configuration configuration = randomConfiguration(configurationChoices);
  configuration.fault = fault;
  RandomChoices choices(seed, failureRates[configurationChoices.choose(std::size(failureRates))]);
  SyncModel model(configuration);
  State state = model.start();
  RandomRun run{.mostFiles = filesOn(configuration.cards)};
  while (run.commands < commands && !run.violation) {
    std::optional<Transition> transition = model.step(state, choices);
    if (!transition) {
      continue;
    }
    ++run.commands;
    run.runs += transition->trace.isRun ? 1 : 0;
    run.imported += transition->trace.answered.size();
    run.violation = violationIn(model, state, *transition);
    run.log = std::move(transition->trace.log);
    state = std::move(transition->after);
  }
  return run;
}

std::string descriptionOf(std::uint64_t seed, const RandomRun& run) {
  return "seed " + std::to_string(seed) + ", command " + std::to_string(run.commands) + ": " +
         run.violation->text + "\n" + run.log;
}

// TOLVANDER_MODEL_SEED repeats a single run.
TEST(RandomisedSyncModel, breaksNoRule) {
  std::uint64_t first = 1;
  std::uint64_t last = isSanitized ? 8 : 400;
  if (const char* seed = std::getenv("TOLVANDER_MODEL_SEED")) {
    first = last = std::stoull(seed);
  }
  RandomRun all;
  for (std::uint64_t seed = first; seed <= last; ++seed) {
    const RandomRun run = runRandomly(seed);
    ASSERT_FALSE(run.violation) << descriptionOf(seed, run);
    all.commands += run.commands;
    all.runs += run.runs;
    all.imported += run.imported;
    all.mostFiles = std::max(all.mostFiles, run.mostFiles);
  }
  std::cout << "seeds " << first << " to " << last << ": " << all.commands << " commands, " << all.runs
            << " of them runs, " << all.imported << " files imported, at most " << all.mostFiles
            << " files on the cards of a run\n";
  EXPECT_TRUE(all.imported > 0 || first == last);
}

TEST(RandomisedSyncModel, catchesAnUnmarkedImport) {
  const Fault fault = {.steps = [](SyncModel&, MediaImportTransaction::Steps& steps) {
    steps.begin = [](const MediaImportTransaction::Batch&) {};
  }};
  std::uint64_t seed = 1;
  RandomRun run = runRandomly(seed, fault);
  while (!run.violation && seed < 100) {
    run = runRandomly(++seed, fault);
  }
  ASSERT_TRUE(run.violation);
  EXPECT_EQ(run.violation->rule, Rule::recordOrMark);
  EXPECT_EQ(descriptionOf(seed, run),
            descriptionOf(seed, runRandomly(seed, fault)));  // a seed repeats its run
}

}  // namespace
}  // namespace tolvander::tests
