#include "Shells/CommandLine/Reports/LibraryReport.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::app {
namespace {

LibraryReport::Asset assetOf(const std::string& name, const char* date, bool isVideo = false) {
  return {.identifier = "id of " + name,
          .creationDate = date != nullptr ? dateFromISO8601(date) : std::nullopt,
          .isVideo = isVideo,
          .byteCount = 901'234,
          .filename = name,
          .file = FileURL("/p/" + name)};
}

LibraryReport reportOfThree() {
  LibraryReport report;
  report.folder = FileURL("/p");
  report.exists = true;
  report.assets = {assetOf("UNDATED.JPG", nullptr), assetOf("OLD.JPG", "2026-11-15T10:00:00Z"),
                   assetOf("NEW.MOV", "2026-11-16T10:00:00Z", true)};
  report.albums = {{.title = "Summer", .assetCount = 1}, {.title = "", .assetCount = 0}};
  return report;
}

std::vector<std::string> selected(const LibraryReport::Selection& selection) {
  LibraryReport report = reportOfThree();
  report.select(selection);
  std::vector<std::string> names;
  for (const auto& asset : report.assets) {
    names.push_back(asset.filename);
  }
  return names;
}

using Names = std::vector<std::string>;

TEST(LibraryReport, countsWhatThereIs) {
  EXPECT_EQ(reportOfThree().text(), "Photo library: /p\n2 photos and 1 video, 2.7 MB, 2 albums\n");
}

TEST(LibraryReport, saysThatTheLibraryHasNotBeenMade) {
  LibraryReport report;
  report.folder = FileURL("/p");
  EXPECT_EQ(report.text(), "Photo library: /p\nIt has not been made yet. The first sync makes it.\n");
}

TEST(LibraryReport, selectsTheNewestFirstAndUndatedOnesLast) {
  EXPECT_EQ(selected({}), (Names{"NEW.MOV", "OLD.JPG", "UNDATED.JPG"}));
  EXPECT_EQ(selected({.limit = 1}), (Names{"NEW.MOV"}));
  EXPECT_EQ(selected({.limit = 100}).size(), 3U);
}

TEST(LibraryReport, selectsAWindowWithBothEnds) {
  const auto old = dateFromISO8601("2026-11-15T10:00:00Z");
  const auto young = dateFromISO8601("2026-11-16T10:00:00Z");
  EXPECT_EQ(selected({.from = young}), (Names{"NEW.MOV"}));
  EXPECT_EQ(selected({.to = old}), (Names{"OLD.JPG"}));
  EXPECT_EQ(selected({.from = old, .to = young}).size(), 2U);
  EXPECT_TRUE(selected({.from = young, .to = old}).empty());
}

TEST(LibraryReport, listsAssetsWithDateSizeNameAndPlace) {
  LibraryReport report = reportOfThree();
  report.select({});
  EXPECT_EQ(report.textOfAssets(),
            "2026-11-16T10:00:00Z     901 KB  NEW.MOV  /p/NEW.MOV\n"
            "2026-11-15T10:00:00Z     901 KB  OLD.JPG  /p/OLD.JPG\n"
            "without a date           901 KB  UNDATED.JPG  /p/UNDATED.JPG\n");
}

TEST(LibraryReport, listsAlbums) {
  EXPECT_EQ(reportOfThree().textOfAlbums(), "“Summer”  1 item\n“”  0 items\n");
}

TEST(LibraryReport, givesProgramsObjects) {
  const LibraryReport report = reportOfThree();
  const JSONDocument counts(tests::bytesOf(report.json()));
  EXPECT_EQ(counts.root().object().required("photos").integer(), 2);
  EXPECT_EQ(counts.root().object().required("bytes").integer(), 3 * 901'234);
  const JSONDocument assets(tests::bytesOf(report.jsonOfAssets()));
  const auto list = assets.root().object().required("assets").array();
  EXPECT_TRUE(list[0].object().required("creationDate").isNull());
  EXPECT_EQ(list[2].object().required("kind").string(), "video");
  const JSONDocument albums(tests::bytesOf(report.jsonOfAlbums()));
  EXPECT_EQ(albums.root().object().required("albums").array().size(), 2U);
}

TEST(LibraryVerificationReport, isSoundWithFilesThatAreNotOurs) {
  LibraryVerificationReport report;
  report.assets = 2;
  report.originals = 2;
  report.unknown = {FileURL("/p/holiday.txt")};
  EXPECT_TRUE(report.isSound());
  EXPECT_EQ(report.text(), "2 items, 2 files: everything is there.\nnot ours   /p/holiday.txt\n");
}

TEST(LibraryVerificationReport, isSoundWithWhatInterruptedImportsLeft) {
  LibraryVerificationReport report;
  report.unfinished = {FileURL("/p/.incoming/a.part")};
  EXPECT_TRUE(report.isSound());
  EXPECT_EQ(report.text(), "0 items, 0 files: everything is there.\nwaiting    /p/.incoming/a.part\n");
  const JSONDocument document(tests::bytesOf(report.json()));
  EXPECT_EQ(document.root().object().required("unfinished").array()[0].string(), "/p/.incoming/a.part");
}

TEST(LibraryVerificationReport, listsWhatIsWrongAndWhatCanMendIt) {
  LibraryVerificationReport report;
  report.catalogueProblems = {"a page is bad"};
  report.missing = {{.file = FileURL("/p/a"), .reason = "", .remedy = "Look in the Trash."}};
  report.changed = {
      {.file = FileURL("/p/b"), .reason = "1 bytes instead of 2", .remedy = "Take the camera."}};
  report.damaged = {{.file = FileURL("/p/c"), .reason = "other content", .remedy = "Take the camera."}};
  report.unreadable = {{.file = FileURL("/p/d"), .reason = "no way", .remedy = "Take a backup."}};
  EXPECT_FALSE(report.isSound());
  EXPECT_EQ(report.text(),
            "0 items, 0 files: something is wrong.\n"
            "catalogue  a page is bad\n"
            "missing    /p/a\n"
            "           Look in the Trash.\n"
            "altered    /p/b: 1 bytes instead of 2\n"
            "           Take the camera.\n"
            "damaged    /p/c: other content\n"
            "           Move it out of the library first. Take the camera.\n"
            "unread     /p/d: no way\n"
            "           Move it out of the library first. Take a backup.\n");
  const JSONDocument document(tests::bytesOf(report.json()));
  const auto object = document.root().object();
  EXPECT_FALSE(object.required("isSound").boolean());
  EXPECT_EQ(object.required("missing").array()[0].string(), "/p/a");
  EXPECT_EQ(object.required("damaged").array()[0].string(), "/p/c");
  const auto faults = object.required("faults").array();
  ASSERT_EQ(faults.size(), 4U);
  EXPECT_EQ(faults[1].object().required("reason").string(), "1 bytes instead of 2");
  EXPECT_EQ(faults[3].object().required("remedy").string(), "Take a backup.");
}

TEST(LibraryVerificationReport, isNotSoundWithAnyOneFault) {
  using Report = LibraryVerificationReport;
  for (auto member : {&Report::missing, &Report::changed, &Report::damaged, &Report::unreadable}) {
    Report report;
    (report.*member).push_back({});
    EXPECT_FALSE(report.isSound());
  }
}

TEST(LibraryVerificationReport, saysWhatWasNotCompared) {
  LibraryVerificationReport report;
  report.comparesSizesOnly = true;
  EXPECT_EQ(report.text(), "0 items, 0 files: everything is there.\nOnly sizes were compared.\n");
  report.comparesSizesOnly = false;
  report.hashedForTheFirstTime = 2;
  EXPECT_EQ(report.text(),
            "0 items, 0 files: everything is there.\n"
            "2 files were read for the first time: whether it changed before can’t be told.\n");
}

TEST(LibraryVerificationReport, saysHowFarItIs) {
  EXPECT_EQ(verificationProgressText(1, 901'234, 2'000'000'000),
            "Checking photo library: 1 file, 901 KB of 2 GB");
}

}  // namespace
}  // namespace tolvander::app
