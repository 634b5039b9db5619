#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/Application.h"
#include "TolvanderApp/Platform/LoginItem.h"
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

}  // namespace tolvander::shell
