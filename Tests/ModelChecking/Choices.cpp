#include "Tests/ModelChecking/Choices.h"

namespace tolvander::tests {

std::size_t EveryChoice::oneOf(std::size_t count) {
  if (asked_ == script_.size()) {
    script_.push_back({.chosen = 0, .count = count});
  }
  return script_.at(asked_++).chosen;
}

bool EveryChoice::next() {
  script_.resize(asked_);
  asked_ = 0;
  while (!script_.empty() && script_.back().chosen + 1 == script_.back().count) {
    script_.pop_back();
  }
  if (script_.empty()) {
    return false;
  }
  ++script_.back().chosen;
  return true;
}

}  // namespace tolvander::tests
