#include "Shells/CommandLine/Reports/CamerasReport.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "Tests/Support/Doubles/FakeBookmarks.h"
#include "Tests/Support/Doubles/MemoryUserDefaults.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::app {
namespace {

class CamerasReportTest : public testing::Test {
 protected:
  void save(const std::string& name, bool isHere) {
    const FileURL volume("/media/" + name);
    auto bookmark = bookmarks.bookmarkData(volume, {.withSecurityScope = true});
    if (!isHere) {
      bookmarks.known.clear();
    }
    settings.saveGrant(DeviceProfile::charmeraProfileID, name, std::nullopt, {volume.path()}, bookmark);
  }

  CamerasReport report() { return CamerasReport::of(settings, bookmarks); }

  tests::VirtualMainThread mainThread;
  tests::MemoryUserDefaults defaults;
  tests::FakeBookmarks bookmarks;
  AppSettings settings{defaults, mainThread};
};

TEST_F(CamerasReportTest, saysThatNoneIsSaved) { EXPECT_EQ(report().text(), "No camera is saved.\n"); }

TEST_F(CamerasReportTest, tellsWhereEachCameraIs) {
  save("AWAY", false);
  save("HERE", true);
  const auto grants = settings.cameraGrants();
  EXPECT_EQ(report().text(), grants[0].id.text() + "  “AWAY”  not connected\n" + grants[1].id.text() +
                                 "  “HERE”  /media/HERE\n");
}

TEST_F(CamerasReportTest, givesProgramsAnObject) {
  save("AWAY", false);
  save("HERE", true);
  const JSONDocument document(tests::bytesOf(report().json()));
  const auto cameras = document.root().object().required("cameras").array();
  ASSERT_EQ(cameras.size(), 2U);
  EXPECT_TRUE(cameras[0].object().required("volume").isNull());
  EXPECT_EQ(cameras[1].object().required("volume").string(), "/media/HERE");
  EXPECT_TRUE(document.root().object().required("problem").isNull());
}

TEST_F(CamerasReportTest, findsACameraByNameOrIdentity) {
  save("ONE", true);
  save("TWO", true);
  const UUID id = settings.cameraGrants()[1].id;
  EXPECT_EQ(report().named("TWO"), id);
  EXPECT_EQ(report().named(id.text()), id);
  EXPECT_EQ(report().named("THREE"), std::nullopt);
}

TEST_F(CamerasReportTest, findsNoneWhereTwoHaveTheName) {
  save("ONE", true);
  settings.saveGrant(DeviceProfile::charmeraProfileID, "ONE", "ANOTHER-UUID", {}, {});
  EXPECT_EQ(report().named("ONE"), std::nullopt);
}

TEST_F(CamerasReportTest, saysThatSavedCamerasCannotBeRead) {
  defaults.setData("cameraAccessGrants", tests::bytesOf("broken"));
  const AppSettings unreadable(defaults, mainThread);
  const CamerasReport report = CamerasReport::of(unreadable, bookmarks);
  EXPECT_TRUE(report.text().starts_with("Saved camera access could not be read.")) << report.text();
  const JSONDocument document(tests::bytesOf(report.json()));
  EXPECT_TRUE(document.root().object().required("problem").isString());
}

}  // namespace
}  // namespace tolvander::app
