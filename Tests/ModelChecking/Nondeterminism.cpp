#include "Tests/ModelChecking/Nondeterminism.h"

namespace tolvander::tests {

std::size_t ExhaustiveChoices::choose(std::size_t count) {
  if (next_ == sequence_.size()) {
    sequence_.push_back({.chosen = 0, .count = count});
  }
  return sequence_.at(next_++).chosen;
}

bool ExhaustiveChoices::next() {
  sequence_.resize(next_);
  next_ = 0;
  while (!sequence_.empty() && sequence_.back().chosen + 1 == sequence_.back().count) {
    sequence_.pop_back();
  }
  if (sequence_.empty()) {
    return false;
  }
  ++sequence_.back().chosen;
  return true;
}

}  // namespace tolvander::tests
