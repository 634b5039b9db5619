#pragma once

#include <string>

namespace tolvander::app {

// What the user pastes from. Belongs to the main thread.
class Clipboard {
 public:
  virtual ~Clipboard() = default;

  // Replaces whatever it holds. `text` is UTF-8.
  virtual void setText(const std::string& text) = 0;
};

}  // namespace tolvander::app
