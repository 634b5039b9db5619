#include "Tests/ModelChecking/Walk.h"

#include <unordered_set>
#include <utility>
#include <vector>

namespace tolvander::tests {

namespace {

class Walker {
 public:
  explicit Walker(const Setting& setting) : world_(setting) { add(world_.start(), 0, "", 0); }

  WalkResult upTo(std::size_t depth) {
    for (std::size_t next = 0; next < visits_.size() && !result_.violation; ++next) {
      if (visits_[next].depth == depth) {
        result_.depth = depth;
        return finished();
      }
      result_.depth = visits_[next].depth;
      leave(next);
    }
    result_.isClosed = !result_.violation;
    return finished();
  }

 private:
  struct Visit {
    State state;
    std::size_t depth;
    std::size_t from;   // the visit before
    std::string story;  // how it came from there
  };

  void add(State state, std::size_t from, std::string story, std::size_t depth) {
    if (seen_.insert(keyOf(state)).second) {
      visits_.push_back({std::move(state), depth, from, std::move(story)});
    }
  }

  void leave(std::size_t index) {
    const State from = visits_[index].state;
    EveryChoice choices;
    do {
      std::optional<Transition> transition = world_.step(from, choices);
      if (!transition) {
        continue;
      }
      ++result_.transitions;
      ++result_.endings[static_cast<std::size_t>(transition->conduct.ending)];
      result_.violation = violationIn(world_, from, *transition);
      if (result_.violation) {
        result_.story = storyOf(index) + transition->conduct.story;
        return;
      }
      add(std::move(transition->after), index, std::move(transition->conduct.story),
          visits_[index].depth + 1);
    } while (choices.next());
  }

  std::string storyOf(std::size_t index) const {
    return index == 0 ? "" : storyOf(visits_[index].from) + visits_[index].story + "\n";
  }

  WalkResult finished() {
    result_.states = visits_.size();
    return result_;
  }

  World world_;
  std::vector<Visit> visits_;
  std::unordered_set<std::string> seen_;
  WalkResult result_;
};

}  // namespace

WalkResult walk(const Setting& setting, std::size_t depth) { return Walker(setting).upTo(depth); }

}  // namespace tolvander::tests
