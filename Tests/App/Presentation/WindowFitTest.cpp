#include "TolvanderApp/WindowFit.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>

namespace tolvander::app {
namespace {

constexpr double chrome = 28;
constexpr WindowRect screen = {.x = 0, .y = 0, .width = 1440, .height = 900};

// A window in the middle of a large screen whose content is 400 high.
WindowSpace space() {
  return {.preferredHeight = 400,
          .frame = {.x = 300, .y = 200, .width = 520, .height = 428},
          .chrome = chrome,
          .visible = screen};
}

WindowFit fit(const WindowSpace& space) { return WindowFit::of(space).value(); }

double contentHeight(const WindowSpace& space) { return fit(space).frame.height - space.chrome; }

TEST(WindowFit, contentHasItsHeightRoundedUpWithinItsLimits) {
  struct Row {
    double preferredHeight;
    double contentHeight;
  };
  for (const Row& row : {Row{400, 400}, Row{400.2, 401}, Row{0.1, 1}, Row{759.5, 760}, Row{760, 760},
                         Row{760.1, 760}, Row{5'000, 760}}) {
    WindowSpace of = space();
    of.preferredHeight = row.preferredHeight;
    EXPECT_EQ(contentHeight(of), row.contentHeight) << row.preferredHeight;
  }
}

TEST(WindowFit, contentEnds80PointsBelowTheHeightOfASmallScreen) {
  WindowSpace small = space();
  small.preferredHeight = 700;
  small.visible->height = 600;
  EXPECT_EQ(contentHeight(small), 600 - 80 - chrome);
  small.visible->height = 50;
  EXPECT_EQ(contentHeight(small), 1);
}

TEST(WindowFit, upperLeftCornerStays) {
  WindowSpace grown = space();
  grown.preferredHeight = 500;
  const WindowRect frame = fit(grown).frame;
  EXPECT_EQ(frame.top(), grown.frame.top());
  EXPECT_EQ(frame.x, 300);
  EXPECT_EQ(frame.width, 520);
}

TEST(WindowFit, topStaysBelowTheMarginOfTheScreen) {
  WindowSpace high = space();
  high.frame.y = 900 - 428;
  EXPECT_EQ(fit(high).frame.top(), 880);
  high.frame.y = 880 - 428;
  EXPECT_EQ(fit(high).frame.top(), 880);
  high.frame.y = 879 - 428;
  EXPECT_EQ(fit(high).frame.top(), 879);
}

TEST(WindowFit, bottomStaysAboveTheMarginOfTheScreen) {
  WindowSpace low = space();
  low.frame.y = -100;
  EXPECT_EQ(fit(low).frame.y, 20);
  low.frame.y = 21;
  EXPECT_EQ(fit(low).frame.y, 21);
}

TEST(WindowFit, sidesStayOnTheScreen) {
  WindowSpace aside = space();
  aside.visible->x = 100;
  aside.visible->width = 1000;
  aside.frame.x = 900;
  EXPECT_EQ(fit(aside).frame.x, 1100 - 520);
  aside.frame.x = 580;
  EXPECT_EQ(fit(aside).frame.x, 580);
  aside.frame.x = 50;
  EXPECT_EQ(fit(aside).frame.x, 100);
  aside.visible->width = 400;  // narrower than the window: its left side is what one sees
  EXPECT_EQ(fit(aside).frame.x, 100);
}

TEST(WindowFit, screenMayBeginAnywhere) {
  WindowSpace above = space();
  above.visible = {.x = 0, .y = 900, .width = 1440, .height = 900};
  EXPECT_EQ(fit(above).frame.y, 920);
}

TEST(WindowFit, takesAScreenOf1024By800WithoutAnother) {
  WindowSpace nowhere = space();
  nowhere.visible = std::nullopt;
  nowhere.frame.x = 900;
  nowhere.frame.y = 700;
  EXPECT_EQ(fit(nowhere).frame.x, 1024 - 520);
  EXPECT_EQ(fit(nowhere).frame.top(), 800 - 20);
}

TEST(WindowFit, contentCanNotBeWidenedOrMadeHigherThanTheScreen) {
  EXPECT_EQ(WindowFit::width, 520);
  EXPECT_EQ(fit(space()).minimumContentHeight, 1);
  EXPECT_EQ(fit(space()).maximumContentHeight, 900 - chrome);
  WindowSpace tiny = space();
  tiny.visible->height = chrome;
  EXPECT_EQ(fit(tiny).maximumContentHeight, 1);
}

TEST(WindowFit, frameThatFitsIsLeftAlone) {
  EXPECT_FALSE(fit(space()).changesFrame);
  WindowSpace almost = space();
  almost.frame.width = 520.5;
  EXPECT_FALSE(fit(almost).changesFrame);
  almost.frame.width = 520.6;
  EXPECT_TRUE(fit(almost).changesFrame);
}

TEST(WindowFit, heightCountsFromHalfAPointButAnyMoveCounts) {
  WindowSpace moved = space();
  moved.frame.y = 19.75;  // so that the bottom is moved to 20
  EXPECT_TRUE(fit(moved).changesFrame);
  moved = space();
  moved.frame.x = screen.right() - 520 + 0.25;
  EXPECT_TRUE(fit(moved).changesFrame);
  WindowSpace higher = space();  // its bottom is at the margin already
  higher.frame = {.x = 300, .y = 20, .width = 520, .height = 427.5};
  higher.visible->height = 427.5 + 40;
  higher.preferredHeight = 1;
  higher.chrome = 427;
  EXPECT_EQ(fit(higher).frame, (WindowRect{.x = 300, .y = 20, .width = 520, .height = 428}));
  EXPECT_FALSE(fit(higher).changesFrame);
  higher.chrome = 427.1;
  EXPECT_TRUE(fit(higher).changesFrame);
  higher.chrome = 427;
  higher.frame.height = 428.6;
  EXPECT_TRUE(fit(higher).changesFrame);
}

TEST(WindowFit, contentWithoutAHeightFitsNothing) {
  for (const double height : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    WindowSpace without = space();
    without.preferredHeight = height;
    EXPECT_EQ(WindowFit::of(without), std::nullopt);
  }
}

}  // namespace
}  // namespace tolvander::app
