#include "Shells/CommandLine/Reports/TrashReport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Samples/Bytes.h"
#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {
namespace {

using app::TrashReport;

class TrashReportTest : public testing::Test {
 protected:
  ManagedTrashRecord moved(const std::string& name, std::string_view content) {
    ManagedTrashRecord record = scene.moved(scene.addPhoto(name, content));
    record.trashedAt = dateFromISO8601("2026-11-15T19:13:17Z").value();
    record.volumeName = "CARD";
    return record;
  }

  TrashReport of(const std::vector<ManagedTrashRecord>& records) const {
    return TrashReport::of(records, {}, scene.service);
  }

  TemporaryFolder folder;
  TrashScene scene{folder / "CARD"};
};

TEST_F(TrashReportTest, tellsPeopleWhatLiesInTheTrashOfEachCamera) {
  ManagedTrashRecord other = moved("c.jpg", "x");
  other.deviceIdentifier = std::nullopt;
  other.volumeName = "OTHER";
  const TrashReport report = of({moved("a.jpg", "four"), other, moved("b.jpg", "three")});
  EXPECT_EQ(report.text(),
            "“CARD”: 2 files in the Trash\n"
            "2026-11-15T19:13:17Z     4 bytes  a.jpg\n"
            "2026-11-15T19:13:17Z     5 bytes  b.jpg\n"
            "“OTHER”: 1 file in the Trash\n"
            "2026-11-15T19:13:17Z      1 byte  c.jpg\n");
  EXPECT_EQ(of({}).text(), "No camera file lies in the Trash.\n");
}

TEST_F(TrashReportTest, listsWhatAnEarlierRunMovedAndDidNotRecord) {
  moved("a.jpg", "four");
  const auto later = dateFromISO8601("2099-01-01T00:00:00Z").value();
  scene.intents.front().intendedAt = scene.intents.front().intendedAt - std::chrono::hours(1);
  moved("b.jpg", "three");
  scene.intents.back().intendedAt = later;
  const TrashReport report = TrashReport::of({}, scene.intents, scene.service);
  ASSERT_EQ(report.cameras.size(), 1U);
  ASSERT_EQ(report.cameras.front().files.size(), 1U) << "b.jpg was in the Trash before that intent";
  EXPECT_EQ(report.cameras.front().files.front().filename, "a.jpg");
  EXPECT_EQ(report.cameras.front().files.front().byteCount, 4);
}

TEST_F(TrashReportTest, hasNoSizeForAFileThatCannotBeReached) {
  const auto gone = moved("a.jpg", "four");
  const auto replaced = moved("b.jpg", "three");
  const auto there = moved("c.jpg", "x");
  std::filesystem::remove(gone.trashedPath);
  std::filesystem::rename(replaced.trashedPath, (folder / "away").path());
  writeFile(FileURL(replaced.trashedPath), "other");
  const TrashReport report = of({gone, replaced, there});
  EXPECT_EQ(report.text(),
            "“CARD”: 3 files in the Trash\n"
            "2026-11-15T19:13:17Z    not here  a.jpg\n"
            "2026-11-15T19:13:17Z    not here  b.jpg\n"
            "2026-11-15T19:13:17Z      1 byte  c.jpg\n");
  EXPECT_EQ(report.cameras.at(0).reachable(), 1);
  EXPECT_EQ(report.cameras.at(0).reachable(TrashReport::Filenames{"a.jpg", "c.jpg"}), 1);
  EXPECT_EQ(report.cameras.at(0).reachable(TrashReport::Filenames{"a.jpg"}), 0);
  EXPECT_EQ(report.unknown({"a.jpg", "c.jpg", "d.jpg"}), (TrashReport::Filenames{"a.jpg", "d.jpg"}));
}

TEST_F(TrashReportTest, givesProgramsEveryFile) {
  const auto gone = moved("a.jpg", "four");
  const auto there = moved("b.jpg", "three");
  std::filesystem::remove(gone.trashedPath);
  const JSONDocument document(bytesOf(of({gone, there}).json()));
  const JSONObject camera = document.root().object().required("cameras").array().at(0).object();
  EXPECT_EQ(camera.required("id").string(), there.deviceIdentifier);
  const auto files = camera.required("files").array();
  ASSERT_EQ(files.size(), 2U);
  EXPECT_TRUE(files[0].object().required("byteCount").isNull());
  EXPECT_EQ(files[1].object().required("byteCount").integer(), 5);
  EXPECT_EQ(files[1].object().required("trashedAt").string(), "2026-11-15T19:13:17Z");
}

TEST(TrashQuestion, namesTheCameraAndHowManyFilesGoBack) {
  const app::Alert one = app::putBackQuestion(1, "CARD");
  EXPECT_EQ(one.message, "Put 1 file back on “CARD”?");
  EXPECT_EQ(one.buttons, (std::vector<std::string>{"Put Back", "Cancel"}));
  EXPECT_EQ(app::putBackQuestion(2, "CARD").message, "Put 2 files back on “CARD”?");
  EXPECT_EQ(app::notInTrashText({"a\n", "b"}),
            "Nothing was put back: no connected camera has “a\uFFFD”, “b” in its Trash.");
}

}  // namespace
}  // namespace tolvander::tests
