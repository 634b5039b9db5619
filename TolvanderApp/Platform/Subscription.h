#pragma once

namespace tolvander::app {

// An observer that is registered while this lives.
class Subscription {
 public:
  virtual ~Subscription() = default;
};

}  // namespace tolvander::app
