#include "TolvanderApp/Import/CameraImport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/Doubles/ManualTimer.h"
#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Import/MediaFingerprintStage.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/MediaImportError.h"
#include "TolvanderCore/MediaStagingError.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;
using Files = std::vector<FingerprintedMediaFile>;
using Progress = std::vector<std::pair<std::int64_t, std::int64_t>>;

constexpr Date noon = std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + 12h;

class CameraImportTest : public testing::Test {
 protected:
  CameraImportTest() {
    library.beforeEachChange([this] { stagedAtEachChange.push_back(stagedFiles()); });
  }

  // A file of the card, one minute younger than the one before.
  // `byteCount` is what the listing says of the file, which goes by it; its content is short.
  FingerprintedMediaFile addFile(const std::string& name, std::int64_t byteCount = 100) {
    const FileURL url = card.appending(name);
    writeFile(url, "content of " + name);
    const CameraMediaFile file{.url = url,
                               .volumeURL = card,
                               .relativePath = name,
                               .filename = name,
                               .byteCount = byteCount,
                               .modifiedAt = noon + std::chrono::minutes(addedFiles++)};
    return app::MediaFingerprintStage::fingerprint({file}, false, {}).at(0);
  }

  Files addFiles(int count) {
    Files files;
    for (int number = 1; number <= count; ++number) {
      files.push_back(addFile("PICT" + std::to_string(number) + ".heic"));
    }
    return files;
  }

  Files import(const Files& files, const CancellationToken& token = {}) {
    const app::CameraImport cameraImport(
        {.mediaStaging = staging, .photos = photos, .history = history},
        {.mayGoOn = [this] { return !isStopped; },
         .progress =
             [this](std::int64_t completed, std::int64_t total) {
               progress.emplace_back(completed, total);
               if (whenProgressing) {
                 whenProgressing(completed);
               }
               return !isStopped;
             }},
        [this] {
          if (hasLostAccess) {
            throw app::PhotoLibraryError(app::PhotoLibraryError::Case::accessDenied);
          }
        },
        [] { return noon + 24h; });
    return cameraImport.importNewFiles(files, false, std::nullopt, token);
  }

  std::size_t stagedFiles() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(stagingFolder.path())) {
      count += entry.is_regular_file() ? 1 : 0;
    }
    return count;
  }

  Names creations() const {
    Names names;
    for (const auto& creation : library.creations()) {
      names.emplace_back(creation.file.lastPathComponent());
    }
    return names;
  }

  static Names names(const Files& files) {
    Names result;
    for (const auto& entry : files) {
      result.push_back(entry.file.filename);
    }
    return result;
  }

  Names recorded() const {
    Names result;
    for (const auto& record : history->records()) {
      result.push_back(record.filename);
    }
    std::ranges::sort(result);
    return result;
  }

  void expectNothingStaged() const { EXPECT_TRUE(std::filesystem::is_empty(stagingFolder.path())); }

  TemporaryFolder folder;
  const FileURL card = folder / "CARD";
  const FileURL stagingFolder = folder / "staging";
  ManualTimer timer;
  std::vector<std::size_t> stagedAtEachChange;
  ScriptedPhotoLibrary library;
  const std::shared_ptr<app::PhotoLibraryService> photos = std::make_shared<app::PhotoLibraryService>(
      library, timer, [](DiagnosticLog::Event, const DiagnosticLog::Metrics&) {});
  const std::shared_ptr<SyncHistoryStore> history =
      std::make_shared<SyncHistoryStore>(folder / "history.json");
  const std::shared_ptr<MediaStagingService> staging = std::make_shared<MediaStagingService>(stagingFolder);

  bool isStopped = false;
  bool hasLostAccess = false;
  std::function<void(std::int64_t completed)> whenProgressing;
  Progress progress;

 private:
  int addedFiles = 0;
};

}  // namespace

TEST_F(CameraImportTest, doesNothingWithoutFiles) {
  EXPECT_TRUE(import({}).empty());
  EXPECT_TRUE(progress.empty());
}

TEST_F(CameraImportTest, recordsWhatItImports) {
  const Files files{addFile("A.heic")};
  EXPECT_EQ(import(files), files) << "the camera file, the source and the payload fingerprint";
  const auto records = history->records();
  ASSERT_EQ(records.size(), 1U);
  const ImportRecord& record = *records.begin();
  const auto asset = library.fetchAssets(app::PhotosFetchOptions()).at(0);
  EXPECT_EQ(record, ImportRecord::make({.sourceFingerprint = files[0].sourceFingerprint,
                                        .mediaPayloadFingerprint = std::nullopt,
                                        .processedFingerprint = files[0].sourceFingerprint,
                                        .processingVersion = std::nullopt,
                                        .filename = "A.heic",
                                        .relativePath = "A.heic",
                                        .byteCount = files[0].file.byteCount,
                                        .importedAt = noon + 24h,
                                        .photosAssetIdentifier = asset.localIdentifier,
                                        .wasReconciled = false,
                                        .evidence = std::nullopt}));
  EXPECT_TRUE(history->pendingImportSources().empty());
  expectNothingStaged();
}

TEST_F(CameraImportTest, givesBackNoMoreThanTheIdentitiesOfAFile) {
  Files files{addFile("A.heic")};
  files[0].captureDate = noon;
  files[0].requiresExactReconciliation = true;
  const Files imported = import(files);
  ASSERT_EQ(imported.size(), 1U);
  EXPECT_FALSE(imported[0].captureDate);
  EXPECT_FALSE(imported[0].requiresExactReconciliation);
}

TEST_F(CameraImportTest, importsTheOldestFirst) {
  const Files files{addFile("B.heic"), addFile("A.heic"), addFile("C.heic")};
  EXPECT_EQ(names(import({files[2], files[0], files[1]})), (Names{"B.heic", "A.heic", "C.heic"}));
  EXPECT_EQ(creations(), (Names{"B.heic", "A.heic", "C.heic"}));
}

TEST_F(CameraImportTest, tellsItsProgressOverAllBatches) {
  import(addFiles(17));
  EXPECT_EQ(progress, (Progress{{0, 17}, {0, 17}, {4, 17}, {8, 17}, {12, 17}, {16, 17}, {16, 17}, {17, 17}}));
}

TEST_F(CameraImportTest, stagesSeventeenSmallFilesInBatchesOfSixteenAndOne) {
  EXPECT_EQ(import(addFiles(17)).size(), 17U);
  EXPECT_EQ(stagedAtEachChange, (std::vector<std::size_t>{16, 16, 16, 16, 1}));
  expectNothingStaged();
}

TEST_F(CameraImportTest, stagesAFileOf70MiBAlone) {
  const Files files{addFile("A.heic"), addFile("B.heic", std::int64_t{70} << 20), addFile("C.heic"),
                    addFile("D.heic")};
  EXPECT_EQ(import(files).size(), 4U);
  EXPECT_EQ(stagedAtEachChange, (std::vector<std::size_t>{1, 1, 2}));
}

// Stopping

TEST_F(CameraImportTest, stopsBetweenTwoTransactionsAndKeepsWhatWasRecorded) {
  const Files files = addFiles(12);
  whenProgressing = [this](std::int64_t completed) { isStopped = completed == 8; };
  EXPECT_EQ(import(files), Files(files.begin(), files.begin() + 8));
  EXPECT_EQ(recorded().size(), 8U);
  EXPECT_TRUE(history->pendingImportSources().empty());
  expectNothingStaged();
}

TEST_F(CameraImportTest, endsTheTransactionInWhichItIsCancelled) {
  CancellationSource source;
  library.beforeEachChange([&] {
    if (library.changeCount() == 1) {
      source.cancel();
    }
  });
  EXPECT_THROW(import(addFiles(12), source.token()), CancellationError);
  EXPECT_EQ(recorded().size(), 8U);
  EXPECT_TRUE(history->pendingImportSources().empty());
  expectNothingStaged();
}

TEST_F(CameraImportTest, importsNothingOfABatchThatWasStoppedWhileItWasStaged) {
  isStopped = true;
  hasLostAccess = true;  // which is not asked for
  EXPECT_TRUE(import(addFiles(3)).empty());
  EXPECT_EQ(library.changeCount(), 0U);
  EXPECT_TRUE(history->pendingImportSources().empty());
}

TEST_F(CameraImportTest, stagesNothingWhenItIsCancelled) {
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(import(addFiles(1), source.token()), CancellationError);
  EXPECT_FALSE(std::filesystem::exists(stagingFolder.path()));
}

// Failures

TEST_F(CameraImportTest, beginsNothingWithoutAccessToTheLibrary) {
  hasLostAccess = true;
  EXPECT_THROW(import(addFiles(2)), app::PhotoLibraryError);
  EXPECT_EQ(library.changeCount(), 0U);
  EXPECT_TRUE(history->pendingImportSources().empty());
  expectNothingStaged();
}

TEST_F(CameraImportTest, leavesNoMarkWhenAccessEndsBetweenTwoBatches) {
  whenProgressing = [this](std::int64_t completed) { hasLostAccess = completed == 16; };
  EXPECT_THROW(import(addFiles(17)), app::PhotoLibraryError);
  EXPECT_EQ(recorded().size(), 16U);
  EXPECT_TRUE(history->pendingImportSources().empty());
}

TEST_F(CameraImportTest, refusesAFileThatIsNotTheOneThatWasExamined) {
  const Files files{addFile("A.heic")};
  writeFile(files[0].file.url, "something else");
  try {
    import(files);
    ADD_FAILURE() << "no failure";
  } catch (const MediaStagingError& error) {
    EXPECT_EQ(error.kind(), MediaStagingError::Case::sourceChanged);
  }
  EXPECT_EQ(library.changeCount(), 0U);
  expectNothingStaged();
}

TEST_F(CameraImportTest, keepsTheMarkOfAFileThatTheLibraryDidNotAnswerFor) {
  const Files files = addFiles(6);
  library.withholdPlaceholder("PICT2.heic");
  EXPECT_THROW(import(files), MediaImportError);
  EXPECT_EQ(recorded(), (Names{"PICT1.heic", "PICT3.heic", "PICT4.heic"}));
  EXPECT_EQ(history->pendingImportSources(), (std::set<std::string>{files[1].sourceFingerprint}));
  expectNothingStaged();
}

TEST_F(CameraImportTest, keepsTheMarksOfABatchWhoseEndIsUncertain) {
  const Files files = addFiles(6);
  library.endNextChange({.success = true, .error = nullptr, .isApplied = true, .extraCompletions = 0});
  library.endNextChange({.error = std::make_exception_ptr(std::runtime_error("odd"))});
  EXPECT_THROW(import(files), app::PhotoLibraryError);
  EXPECT_EQ(recorded().size(), 4U);
  EXPECT_EQ(history->pendingImportSources(),
            (std::set<std::string>{files[4].sourceFingerprint, files[5].sourceFingerprint}));
}

TEST_F(CameraImportTest, takesTheMarksBackOfABatchThatTheLibraryRefused) {
  library.endNextChange({.success = false,
                         .error = std::make_exception_ptr(app::PhotosPlatformError(
                             app::PhotosPlatformError::Case::notEnoughSpace, "no space is left")),
                         .isApplied = false});
  EXPECT_THROW(import(addFiles(2)), app::PhotosPlatformError);
  EXPECT_TRUE(recorded().empty());
  EXPECT_TRUE(history->pendingImportSources().empty());
  expectNothingStaged();
}

}  // namespace tolvander::tests
