#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace tolvander::tests {

// Decides all that the outside world leaves open: what the user does, what the library answers, where the
// process stops. Whoever asks gets one of `count` answers, counted from 0.
class Choices {
 public:
  virtual ~Choices() = default;

  // One of several things that are all as likely.
  virtual std::size_t oneOf(std::size_t count) = 0;
  // How something goes: 0 is as it should, the others are trouble.
  virtual std::size_t course(std::size_t count) = 0;
};

// Every answer to every question, one after another: each round repeats the answers of the last up to the
// last question that has another answer left, and gives that one.
class EveryChoice final : public Choices {
 public:
  std::size_t oneOf(std::size_t count) override;
  std::size_t course(std::size_t count) override { return oneOf(count); }

  // Begins the next round. False when all rounds are done.
  bool next();

 private:
  struct Answer {
    std::size_t chosen;
    std::size_t count;
  };
  std::vector<Answer> script_;
  std::size_t asked_ = 0;
};

// Answers at random, the same ones for the same seed with every compiler.
class RandomChoices final : public Choices {
 public:
  // `trouble` of a thousand courses don't go as they should.
  RandomChoices(std::uint64_t seed, std::size_t trouble) : source_(seed), trouble_(trouble) {}

  std::size_t oneOf(std::size_t count) override { return source_() % count; }
  std::size_t course(std::size_t count) override { return oneOf(1000) < trouble_ ? oneOf(count) : 0; }

 private:
  std::mt19937_64 source_;
  std::size_t trouble_;
};

}  // namespace tolvander::tests
