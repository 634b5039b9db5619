#pragma once

#include <functional>
#include <optional>
#include <utility>

#include "TolvanderApp/Platform/Application.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// Shows the program in the dock or the task bar for as long as its window is open. Main thread only.
class PrimaryWindowActivation {
 public:
  // Applies a policy; returns whether it was changed.
  using ApplyPolicy = std::function<bool(ActivationPolicy)>;

  explicit PrimaryWindowActivation(ApplyPolicy applyPolicy) : applyPolicy_(std::move(applyPolicy)) {}

  // The program is starting, and no window is open yet.
  void willFinishLaunching(bool isInBackground) {
    windowGeneration_.reset();
    applyPolicy_(isInBackground ? ActivationPolicy::accessory : ActivationPolicy::regular);
  }

  // The window is about to be shown. Gives the identity of this opening, for `windowDidClose`.
  UUID windowWillOpen() {
    windowGeneration_ = UUID::random();
    applyPolicy_(ActivationPolicy::regular);
    return *windowGeneration_;
  }

  // The close of an earlier opening changes nothing: the window has been opened again since.
  void windowDidClose(const std::optional<UUID>& generation) {
    if (windowGeneration_ == generation) {
      windowGeneration_.reset();
      applyPolicy_(ActivationPolicy::accessory);
    }
  }

  const std::optional<UUID>& windowGeneration() const { return windowGeneration_; }

 private:
  ApplyPolicy applyPolicy_;
  std::optional<UUID> windowGeneration_;
};

}  // namespace tolvander::app
