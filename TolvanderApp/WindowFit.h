#pragma once

#include <optional>

namespace tolvander::app {

// In points, with y growing upwards.
struct WindowRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  double top() const { return y + height; }
  double right() const { return x + width; }

  friend bool operator==(const WindowRect&, const WindowRect&) = default;
};

// What decides the frame of the program's window. A shell whose y grows downwards turns it round.
struct WindowSpace {
  double preferredHeight = 0;  // that the content wants
  WindowRect frame{};          // of the window, with its title bar
  double chrome = 0;           // height of the frame less that of the content
  std::optional<WindowRect>
      visible{};  // the part of the screen that windows may use; absent without a screen
};

// The window is as high as its content, within the screen, and always equally wide. Pure, any thread.
struct WindowFit {
  static constexpr double width = 520;

  WindowRect frame{};
  bool changesFrame = false;        // the window's frame differs from `frame` visibly
  double minimumContentHeight = 0;  // of the window, whose content is `width` wide
  double maximumContentHeight = 0;

  // Absent where the content doesn't say how high it wants to be.
  static std::optional<WindowFit> of(const WindowSpace& space);

  friend bool operator==(const WindowFit&, const WindowFit&) = default;
};

}  // namespace tolvander::app
