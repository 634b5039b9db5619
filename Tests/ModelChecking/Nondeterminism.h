#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace tolvander::tests {

// Makes the decisions that the model leaves open: what the user does, what the library answers, and where the
// process stops. Each decision is one of `count` choices, from 0.
class Nondeterminism {
 public:
  virtual ~Nondeterminism() = default;

  // One of several equally likely choices.
  virtual std::size_t choose(std::size_t count) = 0;

  // The outcome of an action: 0 is success, the others are failures.
  virtual std::size_t chooseOutcome(std::size_t count) = 0;
};

// All sequences of choices, one per round, in depth-first order: each round repeats the choices of the round
// before up to the last one with an untried alternative, and takes that.
class ExhaustiveChoices final : public Nondeterminism {
 public:
  std::size_t choose(std::size_t count) override;
  std::size_t chooseOutcome(std::size_t count) override { return choose(count); }

  // Begins the next round. Returns false after the last round.
  bool next();

 private:
  struct Choice {
    std::size_t chosen;
    std::size_t count;
  };
  std::vector<Choice> sequence_;
  std::size_t next_ = 0;  // the position of the next choice in the sequence
};

// Random choices; the same ones for the same seed with every compiler.
class RandomChoices final : public Nondeterminism {
 public:
  // `failureRate` of 1,000 actions fail.
  RandomChoices(std::uint64_t seed, std::size_t failureRate) : source_(seed), failureRate_(failureRate) {}

  std::size_t choose(std::size_t count) override { return source_() % count; }
  std::size_t chooseOutcome(std::size_t count) override {
    return choose(1000) < failureRate_ ? choose(count) : 0;
  }

 private:
  std::mt19937_64 source_;
  std::size_t failureRate_;
};

}  // namespace tolvander::tests
