#include "TolvanderApp/StatusIcon.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

#include "Tests/Support/Application/FaceStates.h"

namespace tolvander::app {
namespace {

using tests::faceAfterSetup;
using tests::faceBeforeSetup;

constexpr auto attention = "exclamationmark.circle.fill";

// Each row adds a condition that goes before those of the rows above it.
TEST(StatusIcon, isThatOfTheFirstConditionThatHolds) {
  struct Row {
    std::function<void(FaceState&)> add;
    std::optional<std::string> badgeSymbol;
    const char* toolTip;
  };
  FaceState state = faceAfterSetup();
  for (const Row& row : {
           Row{[](FaceState&) {}, std::nullopt, "Tolvander"},
           Row{[](FaceState& now) { now.showsCompletionCheckmark = true; }, "checkmark.circle.fill",
               "Tolvander finished syncing"},
           Row{[](FaceState& now) { now.updateReminder.needsAttention = true; }, attention,
               "Tolvander update available"},
           Row{[](FaceState& now) { now.showsAttentionBadge = true; }, attention,
               "Tolvander needs attention"},
           Row{[](FaceState& now) { now.isSyncing = true; }, "arrow.triangle.2.circlepath.circle.fill",
               "Tolvander is syncing"},
       }) {
    row.add(state);
    EXPECT_EQ(StatusIcon::of(state), (StatusIcon{.badgeSymbol = row.badgeSymbol, .toolTip = row.toolTip}));
  }
}

TEST(StatusIcon, isSilentAboutAnUpdateUntilSetupIsComplete) {
  FaceState state = faceBeforeSetup();
  state.updateReminder = {.version = "2.0", .needsAttention = true};
  EXPECT_EQ(StatusIcon::of(state).toolTip, "Tolvander");
}

TEST(StatusIcon, isSilentAboutAnUpdateThatTheUserHasSeen) {
  FaceState state = faceAfterSetup();
  state.updateReminder = {.version = "2.0", .needsAttention = false};
  EXPECT_EQ(StatusIcon::of(state).toolTip, "Tolvander");
}

TEST(StatusIcon, showsASyncAlsoWhileAnErrorIsShown) {
  FaceState state = faceAfterSetup();
  state.isSyncing = true;
  state.lastError = "The camera could not be read.";
  state.showsAttentionBadge = true;
  EXPECT_EQ(StatusIcon::of(state).toolTip, "Tolvander is syncing");
}

TEST(StatusIcon, doesNotShowAnEject) {
  FaceState state = faceAfterSetup();
  state.isEjecting = true;
  EXPECT_EQ(StatusIcon::of(state).badgeSymbol, std::nullopt);
}

}  // namespace
}  // namespace tolvander::app
