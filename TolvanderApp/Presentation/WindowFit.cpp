#include "TolvanderApp/WindowFit.h"

#include <algorithm>
#include <cmath>

namespace tolvander::app {

namespace {

constexpr double maximumHeight = 760;  // of the content
constexpr double spaceOnScreen = 80;   // that the frame leaves free of the visible height
constexpr double margin = 20;          // to the upper and lower ends of the screen
constexpr double visibleChange = 0.5;  // of a size
constexpr WindowRect anyScreen = {.x = 0, .y = 0, .width = 1024, .height = 800};

double contentHeight(const WindowSpace& space, const WindowRect& visible) {
  const double fitting = visible.height - spaceOnScreen - space.chrome;
  return std::max(std::min({std::ceil(space.preferredHeight), maximumHeight, fitting}), 1.0);
}

// The upper left corner stays, unless the window would leave the screen.
WindowRect fittingFrame(const WindowSpace& space, const WindowRect& visible) {
  const double height = contentHeight(space, visible) + space.chrome;
  const double top = std::min(space.frame.top(), visible.top() - margin);
  const double left = std::max(std::min(space.frame.x, visible.right() - WindowFit::width), visible.x);
  return {.x = left,
          .y = std::max(top - height, visible.y + margin),
          .width = WindowFit::width,
          .height = height};
}

bool differsVisibly(const WindowRect& left, const WindowRect& right) {
  return std::abs(left.height - right.height) > visibleChange ||
         std::abs(left.width - right.width) > visibleChange || left.x != right.x || left.y != right.y;
}

}  // namespace

std::optional<WindowFit> WindowFit::of(const WindowSpace& space) {
  if (!(space.preferredHeight > 0)) {  // also of a number that is none
    return std::nullopt;
  }
  const WindowRect visible = space.visible.value_or(anyScreen);
  const WindowRect frame = fittingFrame(space, visible);
  return WindowFit{.frame = frame,
                   .changesFrame = differsVisibly(frame, space.frame),
                   .minimumContentHeight = 1,
                   .maximumContentHeight = std::max(visible.height - space.chrome, 1.0)};
}

}  // namespace tolvander::app
