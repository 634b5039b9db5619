#include <ostream>
#include <string>

#include "Tests/App/Model/AppModelFlowTest.h"
#include "Tests/Support/Application/ObservedTestPeer.h"

namespace tolvander::tests {
namespace {

using app::AppModel;
using app::AppSettings;

struct Setting {
  std::string name;
  void (AppModel::*set)(bool);
  bool (AppSettings::*value)() const;
};

std::ostream& operator<<(std::ostream& stream, const Setting& setting) { return stream << setting.name; }

class AppModelSettings : public AppModelFlowTest, public testing::WithParamInterface<Setting> {
 protected:
  void set(bool value) { (model().*GetParam().set)(value); }
  bool value() { return (world.settings().*GetParam().value)(); }
};

TEST_P(AppModelSettings, areStored) {
  launch();
  set(true);
  EXPECT_TRUE(value());
  world.launchAfterSetup();
  EXPECT_TRUE(value());
  set(false);
  EXPECT_FALSE(value());
}

TEST_P(AppModelSettings, areChangedBeforeSetupIsComplete) {
  world.launch();
  set(true);
  EXPECT_TRUE(value());
}

TEST_P(AppModelSettings, stayAsTheyAreDuringWork) {
  launch();
  for (auto* const work : {&model().isSyncing, &model().isEjecting}) {
    assign(*work, true);
    set(true);
    EXPECT_FALSE(value());
    assign(*work, false);
  }
  set(true);
  EXPECT_TRUE(value());
}

TEST_P(AppModelSettings, stayAsTheyAreWhereTheyCannotBeStoredAndSaySo) {
  launch();
  world.defaults.setFull(true);
  set(true);
  EXPECT_FALSE(value());
  EXPECT_EQ(*model().lastError, "The disk is full: cannot store /memory: No space left on device");
  EXPECT_EQ(*model().statusMessage, "Sync needs attention");
  EXPECT_EQ(world.logLines("operationFailed").size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    All, AppModelSettings,
    testing::Values(Setting{"deleteAfterSync", &AppModel::setDeleteAfterSync, &AppSettings::deleteAfterSync},
                    Setting{"autoEjectAfterSync", &AppModel::setAutoEjectAfterSync,
                            &AppSettings::autoEjectAfterSync},
                    Setting{"addToAlbum", &AppModel::setAddToAlbum, &AppSettings::addToAlbum}));

}  // namespace
}  // namespace tolvander::tests
