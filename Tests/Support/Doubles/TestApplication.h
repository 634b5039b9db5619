#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/Application.h"
#include "TolvanderApp/Platform/EjectError.h"
#include "TolvanderApp/Platform/LoginItem.h"
#include "TolvanderApp/Platform/VolumeEjector.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

class TestApplication final : public app::Application {
 public:
  std::vector<std::string> givenArguments;
  int terminations = 0;
  std::function<void()> didBecomeActive;  // empty without an observer
  std::function<void()> prepareUninstall;

  std::vector<std::string> arguments() override { return givenArguments; }
  void terminate() override { ++terminations; }
  app::Subscription observeDidBecomeActive(std::function<void()> observer) override {
    didBecomeActive = std::move(observer);
    return app::Subscription([this] { didBecomeActive = nullptr; });
  }
  app::Subscription observePrepareUninstall(std::function<void()> observer) override {
    prepareUninstall = std::move(observer);
    return app::Subscription([this] { prepareUninstall = nullptr; });
  }
};

class TestLoginItem final : public app::LoginItem {
 public:
  app::LoginItemStatus currentStatus = app::LoginItemStatus::notRegistered;
  bool fails = false;
  std::vector<bool> changes;

  app::LoginItemStatus status() override { return currentStatus; }
  void setEnabled(bool enabled) override {
    changes.push_back(enabled);
    if (fails) {
      throw CocoaError(CocoaError::Code::fileReadNoPermission);
    }
    currentStatus = enabled ? app::LoginItemStatus::enabled : app::LoginItemStatus::notRegistered;
  }
};

// An ejector whose drive leaves when `eject` says so. Called on a worker.
class ScriptedEjector final : public app::VolumeEjector {
 public:
  std::optional<app::EjectError> failure;
  std::function<void(const FileURL&)> eject;  // what happens to the machine
  std::vector<FileURL> ejected;

  void unmountAndEject(const FileURL& volume) override {
    if (failure) {
      throw app::EjectError(*failure);
    }
    ejected.push_back(volume);
    if (eject) {
      eject(volume);
    }
  }
};

}  // namespace tolvander::tests
