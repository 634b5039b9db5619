#include "TolvanderApp/PausedImports.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Tests/Support/Doubles/ManualTimer.h"
#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::tests {
namespace {

using app::PausedImports;
using app::takePausedFiles;
using Fingerprints = std::set<std::string>;

class PausedImportsTest : public testing::Test {
 protected:
  CameraMediaFile addFile(const std::string& name, const std::string& content) const {
    const FileURL url = card.appending(name);
    writeFile(url, content);
    return {.url = url,
            .volumeURL = card,
            .relativePath = name,
            .filename = name,
            .byteCount = static_cast<std::int64_t>(content.size()),
            .modifiedAt = {}};
  }

  static PreparedMediaFile prepared(const CameraMediaFile& file, const std::string& processed) {
    return {.sourceFile = file,
            .importURL = file.url,
            .sourceFingerprint = sourceOf(file),
            .mediaPayloadFingerprint = {},
            .processedFingerprint = processed,
            .processingVersion = {},
            .captureDate = {}};
  }

  static std::string sourceOf(const CameraMediaFile& file) { return FileFingerprinter::sha256(file.url); }

  void record(const CameraMediaFile& file, const std::string& source) {
    history.record(
        ImportRecord::make(source, file.filename, file.relativePath, file.byteCount, Date(), "asset", false));
  }

  const TemporaryFolder folder;
  const FileURL card = folder / "CARD";
  SyncHistoryStore history{folder / "history.json"};
  static void ignore(std::size_t, std::size_t) {}

  ScriptedPhotoLibrary library;
  ManualTimer timer;
  app::PhotoLibraryService photos{library, timer, {}};
  const CameraMediaFile first = addFile("A.JPG", "first");
  const CameraMediaFile second = addFile("B.JPG", "second");
};

TEST_F(PausedImportsTest, areThoseThatTheLibraryHoldsNothingOf) {
  history.beginPreparedImport({prepared(first, "one"), prepared(second, "two")});
  history.beginImport({"an earlier version's"});
  library.setPreparedFingerprints({"two", "three"});
  const PausedImports imports = PausedImports::of(history, photos);
  EXPECT_EQ(imports.finishedByNextSync, Fingerprints{sourceOf(second)});
  EXPECT_EQ(imports.paused, (Fingerprints{sourceOf(first), "an earlier version's"}));
  EXPECT_FALSE(std::filesystem::exists((folder / "history.id").path())) << "a look makes nothing";
  EXPECT_TRUE(library.completions().empty());
}

TEST_F(PausedImportsTest, areUnknownWhereTheLibraryMayNotBeRead) {
  history.beginPreparedImport({prepared(first, "one")});
  library.answerAuthorization({app::PhotosAuthorizationStatus::denied});
  EXPECT_THROW(PausedImports::of(history, photos), app::PhotoLibraryError);
}

TEST_F(PausedImportsTest, areNoneWhereNothingIsMarked) {
  const PausedImports imports = PausedImports::of(history, photos);
  EXPECT_TRUE(imports.finishedByNextSync.empty());
  EXPECT_TRUE(imports.paused.empty());
}

TEST_F(PausedImportsTest, areFoundAmongTheFilesOfACard) {
  Fingerprints sources = {sourceOf(second), "on another card"};
  EXPECT_EQ(takePausedFiles({first, second}, sources, history.records(), ignore, {}), std::vector{second});
  EXPECT_EQ(sources, Fingerprints{"on another card"});
}

TEST_F(PausedImportsTest, areSoughtNeitherInRecordedFilesNorOnceAllAreFound) {
  record(first, "another source");
  Fingerprints sources = {sourceOf(first), sourceOf(second)};
  EXPECT_EQ(takePausedFiles({first, second}, sources, history.records(), ignore, {}), std::vector{second});
  EXPECT_EQ(sources, Fingerprints{sourceOf(first)}) << "recorded as something else, and not read";
  sources.clear();
  EXPECT_TRUE(takePausedFiles({first}, sources, history.records(), ignore, {}).empty());
}

TEST_F(PausedImportsTest, tellWhichFileIsReadAndHowManyMayBe) {
  const CameraMediaFile third = addFile("C.JPG", "third");
  record(third, "another source");
  const CameraMediaFile fourth = addFile("D.JPG", "fourth");
  Fingerprints sources = {sourceOf(second)};
  std::vector<std::pair<std::size_t, std::size_t>> told;
  const auto progress = [&](std::size_t number, std::size_t total) { told.emplace_back(number, total); };
  takePausedFiles({first, third, second, fourth}, sources, history.records(), progress, {});
  EXPECT_EQ(told, (std::vector<std::pair<std::size_t, std::size_t>>{{1, 3}, {2, 3}}));
}

TEST_F(PausedImportsTest, areFoundThoughTheyHaveARecord) {
  record(first, sourceOf(first));  // imported once, and its restoration was cut short
  Fingerprints sources = {sourceOf(first)};
  EXPECT_EQ(takePausedFiles({first, second}, sources, history.records(), ignore, {}), std::vector{first});
}

TEST_F(PausedImportsTest, areSoughtAfterAFileThatCannotBeRead) {
  std::filesystem::remove(first.url.path());
  Fingerprints sources = {sourceOf(second)};
  EXPECT_EQ(takePausedFiles({first, second}, sources, history.records(), ignore, {}), std::vector{second});
  CancellationSource stopped;
  stopped.cancel();
  sources = {sourceOf(second)};
  EXPECT_THROW(takePausedFiles({second}, sources, history.records(), ignore, stopped.token()),
               CancellationError);
}

}  // namespace
}  // namespace tolvander::tests
