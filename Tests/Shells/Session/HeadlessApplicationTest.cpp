#include "Shells/CommandLine/Session/HeadlessApplication.h"

#include <gtest/gtest.h>

#include <optional>

namespace tolvander::shell {
namespace {

TEST(HeadlessApplication, isNowhereOnTheScreen) {
  HeadlessApplication application([] {});
  application.activate();
  EXPECT_FALSE(application.setActivationPolicy(app::ActivationPolicy::regular));
  EXPECT_EQ(application.activationPolicy(), std::nullopt);
  EXPECT_EQ(application.keyWindow(), nullptr);
  EXPECT_EQ(application.mainWindow(), nullptr);
  EXPECT_EQ(application.presentationState(nullptr), (app::PresentationState{.appActive = false,
                                                                            .appHidden = false,
                                                                            .windowVisible = false,
                                                                            .windowKey = false,
                                                                            .windowMain = false,
                                                                            .activationPolicy = -1,
                                                                            .workspaceFrontmost = false}));
}

TEST(HeadlessApplication, hasNoSystemSettingsToOpen) {
  NoSystemSettings settings;
  EXPECT_FALSE(settings.open(app::SystemSettingsPane::photos));
  EXPECT_FALSE(settings.open());
}

}  // namespace
}  // namespace tolvander::shell
