#include "TolvanderApp/StatusIcon.h"

#include "TolvanderApp/Presentation/Symbols.h"

namespace tolvander::app {

StatusIcon StatusIcon::of(const FaceState& state) {
  if (state.isSyncing) {
    return {.badgeSymbol = "arrow.triangle.2.circlepath.circle.fill", .toolTip = "Tolvander is syncing"};
  }
  if (state.showsAttentionBadge) {
    return {.badgeSymbol = symbols::attention, .toolTip = "Tolvander needs attention"};
  }
  if (state.updateReminder.needsAttention && state.onboardingCompleted) {
    return {.badgeSymbol = symbols::attention, .toolTip = "Tolvander update available"};
  }
  if (state.showsCompletionCheckmark) {
    return {.badgeSymbol = symbols::done, .toolTip = "Tolvander finished syncing"};
  }
  return {.badgeSymbol = std::nullopt, .toolTip = "Tolvander"};
}

}  // namespace tolvander::app
