#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/Application.h"
#include "TolvanderApp/Platform/LoginItem.h"
#include "TolvanderApp/Platform/SystemSettings.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::shell {

// A program without a screen: it never comes to the front, and holds nothing that an uninstaller would have
// to ask it to let go.
class HeadlessApplication final : public app::Application {
 public:
  explicit HeadlessApplication(std::function<void()> terminate) : terminate_(std::move(terminate)) {}

  // Those of the command line are the shell's own.
  std::vector<std::string> arguments() override { return {}; }
  void terminate() override { terminate_(); }
  // The home is locked by the first copy.
  void terminateOtherRunningCopies() override {}
  bool isActive() override { return false; }
  bool isHidden() override { return false; }
  bool isFrontmost() override { return false; }
  void activate() override {}
  std::optional<app::ActivationPolicy> activationPolicy() override { return std::nullopt; }
  bool setActivationPolicy(app::ActivationPolicy) override { return false; }
  std::shared_ptr<app::Window> keyWindow() override { return nullptr; }
  std::shared_ptr<app::Window> mainWindow() override { return nullptr; }
  app::Subscription observeDidBecomeActive(std::function<void()>) override { return {}; }
  app::Subscription observePrepareUninstall(std::function<void()>) override { return {}; }

 private:
  std::function<void()> terminate_;
};

// The command line isn't opened at login.
class NoLoginItem final : public app::LoginItem {
 public:
  app::LoginItemStatus status() override { return app::LoginItemStatus::notFound; }
  void setEnabled(bool) override { throw CocoaError(CocoaError::Code::fileNoSuchFile); }
};

// The command line opens no windows, so nothing leads to the system's settings either.
class NoSystemSettings final : public app::SystemSettings {
 public:
  bool open(app::SystemSettingsPane) override { return false; }
  bool open() override { return false; }
};

}  // namespace tolvander::shell
