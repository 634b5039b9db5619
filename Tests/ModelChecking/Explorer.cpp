#include "Tests/ModelChecking/Explorer.h"

#include <unordered_set>
#include <utility>
#include <vector>

namespace tolvander::tests {

namespace {

class Explorer {
 public:
  explicit Explorer(const Configuration& configuration) : model_(configuration) {
    add(model_.start(), 0, "", 0);
  }

  Exploration upTo(std::size_t depth) {
    for (std::size_t next = 0; next < nodes_.size() && !result_.violation; ++next) {
      if (nodes_[next].depth == depth) {
        result_.depth = depth;
        return finished();
      }
      result_.depth = nodes_[next].depth;
      leave(next);
    }
    result_.isComplete = !result_.violation;
    return finished();
  }

 private:
  struct Node {
    State state;
    std::size_t depth;
    std::size_t from;  // the node before
    std::string log;   // of the transition from there
  };

  void add(State state, std::size_t from, std::string log, std::size_t depth) {
    if (seen_.insert(keyOf(state)).second) {
      nodes_.push_back({std::move(state), depth, from, std::move(log)});
    }
  }

  void leave(std::size_t index) {
    const State from = nodes_[index].state;
    ExhaustiveChoices choices;
    do {
      std::optional<Transition> transition = model_.step(from, choices);
      if (!transition) {
        continue;
      }
      ++result_.transitions;
      ++result_.outcomes[static_cast<std::size_t>(transition->trace.outcome)];
      result_.violation = violationIn(model_, from, *transition);
      if (result_.violation) {
        result_.log = logOf(index) + transition->trace.log;
        return;
      }
      add(std::move(transition->after), index, std::move(transition->trace.log), nodes_[index].depth + 1);
    } while (choices.next());
  }

  std::string logOf(std::size_t index) const {
    return index == 0 ? "" : logOf(nodes_[index].from) + nodes_[index].log + "\n";
  }

  Exploration finished() {
    result_.states = nodes_.size();
    return result_;
  }

  SyncModel model_;
  std::vector<Node> nodes_;
  std::unordered_set<std::string> seen_;
  Exploration result_;
};

}  // namespace

Exploration explore(const Configuration& configuration, std::size_t depth) {
  return Explorer(configuration).upTo(depth);
}

}  // namespace tolvander::tests
