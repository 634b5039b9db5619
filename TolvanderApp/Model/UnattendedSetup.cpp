#include "TolvanderApp/UnattendedSetup.h"

#include <utility>

#include "TolvanderApp/AppModel.h"

namespace tolvander::app {

UnattendedSetup::UnattendedSetup(AppModel& model)
    : model_(model), hasCamera_(!model.connectedDevices->empty()) {
  changes_ = model.changes.observe([this] { completeWhenPossible(); });
  cameras_ = model.connectedDevices.observe([this](const auto&) { lookAgainWhenACameraCame(); });
  completeWhenPossible();
}

void UnattendedSetup::completeWhenPossible() {
  if (!model_.settings().onboardingCompleted() && model_.canStartFirstSync()) {
    model_.completeOnboardingAndSync();
  }
}

void UnattendedSetup::lookAgainWhenACameraCame() {
  const bool hadCamera = std::exchange(hasCamera_, !model_.connectedDevices->empty());
  if (hasCamera_ && !hadCamera) {
    model_.lookAgain();
  }
}

}  // namespace tolvander::app
