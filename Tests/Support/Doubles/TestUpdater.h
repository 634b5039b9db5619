#pragma once

#include "TolvanderApp/Platform/Updater.h"

namespace tolvander::tests {

// An updater that finds what the test says, through its delegate.
class TestUpdater final : public app::Updater {
 public:
  explicit TestUpdater(app::UpdaterDelegate& of) : delegate(of) {}

  app::UpdaterDelegate& delegate;
  bool checksAutomatically = false;
  int checksInBackground = 0;
  int checks = 0;

  bool automaticallyChecksForUpdates() override { return checksAutomatically; }
  void checkForUpdatesInBackground() override { ++checksInBackground; }
  void checkForUpdates() override { ++checks; }
};

}  // namespace tolvander::tests
