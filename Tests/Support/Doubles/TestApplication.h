#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/Application.h"
#include "TolvanderApp/Platform/EjectError.h"
#include "TolvanderApp/Platform/LoginItem.h"
#include "TolvanderApp/Platform/SystemSettings.h"
#include "TolvanderApp/Platform/VolumeEjector.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

class TestApplication final : public app::Application {
 public:
  std::vector<std::string> givenArguments;
  int terminations = 0;
  bool active = false;
  bool hidden = false;
  bool frontmost = false;
  bool comesToTheFront = true;                  // when it is activated
  std::optional<app::ActivationPolicy> policy;  // absent: a program without windows
  std::shared_ptr<app::Window> key;
  std::shared_ptr<app::Window> main;
  std::vector<std::string> calls;         // what was asked of the program and of its windows, in order
  std::function<void()> didBecomeActive;  // empty without an observer
  std::function<void()> prepareUninstall;

  std::vector<std::string> arguments() override { return givenArguments; }
  void terminate() override { ++terminations; }
  void terminateOtherRunningCopies() override { calls.emplace_back("terminateOtherRunningCopies"); }
  bool isActive() override { return active; }
  bool isHidden() override { return hidden; }
  bool isFrontmost() override { return frontmost; }
  void activate() override {
    calls.emplace_back("activate");
    active = active || comesToTheFront;
  }
  std::optional<app::ActivationPolicy> activationPolicy() override { return policy; }
  bool setActivationPolicy(app::ActivationPolicy newPolicy) override {
    calls.emplace_back(newPolicy == app::ActivationPolicy::regular ? "regular" : "accessory");
    policy = newPolicy;
    return true;
  }
  std::shared_ptr<app::Window> keyWindow() override { return key; }
  std::shared_ptr<app::Window> mainWindow() override { return main; }
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
  app::LoginItemStatus statusOnceEnabled = app::LoginItemStatus::enabled;
  bool fails = false;
  std::vector<bool> changes;
  app::LoginItemStatus currentOlderStatus = app::LoginItemStatus::notFound;
  bool olderFails = false;
  int olderRemovals = 0;

  app::LoginItemStatus status() override { return currentStatus; }
  void setEnabled(bool enabled) override {
    changes.push_back(enabled);
    if (fails) {
      throw CocoaError(CocoaError::Code::fileReadNoPermission);
    }
    currentStatus = enabled ? statusOnceEnabled : app::LoginItemStatus::notRegistered;
  }
  app::LoginItemStatus olderStatus() override { return currentOlderStatus; }
  void removeOlder() override {
    ++olderRemovals;
    if (olderFails) {
      throw CocoaError(CocoaError::Code::fileReadUnknown);
    }
    currentOlderStatus = app::LoginItemStatus::notRegistered;
  }
};

// Settings of a system, which opens what it has.
class TestSystemSettings final : public app::SystemSettings {
 public:
  std::vector<app::SystemSettingsPane> panes = {
      app::SystemSettingsPane::photos, app::SystemSettingsPane::removableVolumes,
      app::SystemSettingsPane::notifications, app::SystemSettingsPane::loginItems};  // that it has
  bool isInstalled = true;
  std::vector<std::optional<app::SystemSettingsPane>> requests;  // absent: at no particular pane

  bool open(app::SystemSettingsPane pane) override {
    requests.emplace_back(pane);
    return std::ranges::count(panes, pane) > 0;
  }
  bool open() override {
    requests.emplace_back();
    return isInstalled;
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
