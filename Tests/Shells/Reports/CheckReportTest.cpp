#include "Shells/CommandLine/Reports/CheckReport.h"

#include <gtest/gtest.h>

#include <string>

#include "Samples/Bytes.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::app {
namespace {

FingerprintedMediaFile file(const std::string& name) {
  FingerprintedMediaFile file{.file = {.url = FileURL("/media/CARD/DCIM/" + name),
                                       .volumeURL = FileURL("/media/CARD"),
                                       .relativePath = "DCIM/" + name,
                                       .filename = name,
                                       .byteCount = 0,
                                       .modifiedAt = {}},
                              .sourceFingerprint = "fingerprint of " + name,
                              .mediaPayloadFingerprint = {},
                              .captureDate = {},
                              .metadata = {},
                              .pendingProcessedFingerprint = {}};
  return file;
}

DeviceLibraryReview review(std::string name = "CARD") {
  return {.device = {.volumeURL = FileURL("/media/CARD"),
                     .displayName = std::move(name),
                     .profile = DeviceProfile::charmera(),
                     .files = {}},
          .review = {}};
}

const std::string header = "In library  Likely duplicates  Missing  New  Need review  Interrupted  Camera\n";

TEST(CheckReport, givesEachCameraALineOfTheTable) {
  DeviceLibraryReview first = review();
  first.review.represented = {file("a"), file("b")};
  first.review.missingRecorded = {file("c")};
  DeviceLibraryReview second = review("A\nB");
  second.review.newFiles = {file("d"), file("e"), file("f")};
  EXPECT_EQ(CheckReport::of({first, second}).text(),
            header + "         2                  0        1    0            0            0  “CARD”\n" +
                "         0                  0        0    3            0            0  “A\uFFFDB”\n");
  EXPECT_EQ(CheckReport().text(), "");
}

TEST(CheckReport, saysWhyACheckIsIncomplete) {
  DeviceLibraryReview incomplete = review();
  incomplete.review.unchecked = {file("a"), file("b")};
  incomplete.review.uncertain = {file("c")};
  EXPECT_EQ(CheckReport::of({incomplete}).text(),
            header +
                "         0                  0        0    0            2            1  “CARD”\n"
                "“CARD”: 2 files couldn’t be compared with local originals. Only originals available on this "
                "computer can be compared, and unchecked files are not imported.\n"
                "“CARD”: 1 interrupted import needs recovery. Automatic retry is paused to prevent "
                "duplicates. Keep the camera originals until these imports are recovered.\n"
                "  DCIM/c\n"
                "  To import the card’s other files, set such a file aside: tolvanderctl set-aside VOLUME "
                "FILE\n");
  EXPECT_FALSE(CheckReport::of({incomplete}).cameras.at(0).counts.isComplete());

  incomplete.review.uncertain.clear();
  incomplete.review.unchecked.pop_back();
  incomplete.review.budgetExceeded = true;
  const CheckReport report = CheckReport::of({incomplete});
  EXPECT_NE(report.text().find("“CARD”: 1 file still needs checking. "), std::string::npos);
  EXPECT_TRUE(
      cannotImportText(report.cameras.at(0)).starts_with("Nothing was imported. “CARD”: 1 file still"));
}

TEST(CheckReport, tellsImportsThatTheNextSyncFinishesFromPausedOnes) {
  DeviceLibraryReview interrupted = review();
  interrupted.review.uncertain = {file("a"), file("b"), file("c")};
  interrupted.finishedByNextSync = {"fingerprint of a", "fingerprint of c", "of another camera"};
  CheckReport report = CheckReport::of({interrupted});
  EXPECT_NE(report.text().find("“CARD”: 2 imports were cut short. The next sync finishes them.\n"
                               "“CARD”: 1 interrupted import needs recovery. "),
            std::string::npos)
      << report.text();
  EXPECT_NE(report.text().find("\n  DCIM/b\n  To import"), std::string::npos) << report.text();
  EXPECT_EQ(report.text().find("  DCIM/a\n"), std::string::npos) << report.text();
  const std::string json = report.json({});
  EXPECT_NE(json.find(R"("interrupted":3)"), std::string::npos) << json;
  EXPECT_NE(json.find(R"("finishedByNextSync":["DCIM\/a","DCIM\/c"])"), std::string::npos) << json;
  EXPECT_TRUE(cannotImportText(report.cameras.at(0)).find("1 interrupted import") != std::string::npos);

  interrupted.review.uncertain = {file("a")};
  report = CheckReport::of({interrupted});
  EXPECT_TRUE(report.text().ends_with("“CARD”: 1 import was cut short. The next sync finishes it.\n"))
      << report.text();
  EXPECT_EQ(cannotImportText(report.cameras.at(0)),
            "Nothing was imported. “CARD”: 1 import was cut short. The next sync finishes it.");
  EXPECT_FALSE(report.cameras.at(0).counts.isComplete());
}

TEST(CheckReport, namesWhatIsSetAside) {
  DeviceLibraryReview checked = review();
  checked.setAside = {"DCIM/BAD.AVI"};
  const CheckReport report = CheckReport::of({checked});
  EXPECT_TRUE(report.text().ends_with("“CARD”: 1 file is set aside: DCIM/BAD.AVI\n")) << report.text();
  EXPECT_NE(report.json({}).find(R"("setAside":["DCIM\/BAD.AVI"])"), std::string::npos) << report.json({});
  EXPECT_TRUE(report.cameras.at(0).counts.isComplete());
}

TEST(CheckReport, canImportWhatIsMissingAndWhatIsNew) {
  DeviceLibraryReview missing = review();
  missing.review.missingRecorded = {file("a")};
  missing.review.newFiles = {file("b")};
  const CheckReport report = CheckReport::of({missing});
  EXPECT_EQ(report.cameras.at(0).counts.importable(), 2);
  EXPECT_TRUE(report.cameras.at(0).counts.isComplete());
}

TEST(CheckReport, givesProgramsNumbersAndPathsOnOneLine) {
  DeviceLibraryReview checked = review();
  checked.review.represented = {file("a")};
  checked.review.recognized = {{"fingerprint of a", LibraryMatch()}};
  checked.review.metadataRecognized = {{"fingerprint of x", "asset"}};
  checked.review.uncertain = {file("b")};
  const std::string line = CheckReport::of({checked}).json(
      {.outcome = RunOutcome::incomplete, .status = "Camera check incomplete", .failure = {}}, 5);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  const JSONDocument document(tests::bytesOf(line));
  const JSONObject result = document.root().object().required("result").object();
  EXPECT_EQ(result.required("outcome").string(), "incomplete");
  EXPECT_EQ(result.required("status").string(), "Camera check incomplete");
  EXPECT_EQ(result.required("imported").integer(), 5);
  const JSONObject camera = result.required("cameras").array().at(0).object();
  EXPECT_EQ(camera.required("inLibrary").integer(), 1);
  EXPECT_EQ(camera.required("recognized").integer(), 2);
  EXPECT_EQ(camera.required("interrupted").integer(), 1);
  EXPECT_EQ(camera.required("files").object().required("interrupted").array().at(0).string(), "DCIM/b");
}

}  // namespace
}  // namespace tolvander::app
