#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"
#include "Platform/Linux/PhotoLibrary/LibraryRebuild.h"
#include "Tests/Support/Application/CatalogueFiles.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/HistoryBackup.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using platform::linux_::CatalogueBackups;
using platform::linux_::CatalogueContents;
using platform::linux_::LibraryRebuild;
using platform::linux_::RebuildPlan;

constexpr std::chrono::seconds busyTimeout(5);

class LibraryRecoveryFaults : public testing::Test {
 protected:
  LibraryRecoveryFaults() {
    EmbeddedPhotoLibrary library(pristine);
    requestAndWait(library);
    changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Trip"); });
    for (const char* const name : {"PICT0001.JPG", "PICT0002.JPG"}) {
      writeFile(folder / (std::string("Card/") + name), std::string("picture ") + name);
      importPictures(library, {folder / (std::string("Card/") + name)}, library.fetchAlbums("Trip").at(0));
    }
    expected = contents(pristine);
    CatalogueBackups(pristine).makeIfDue(day(0));
  }

  // Without the dates of the files, which are others in each copy of the library.
  static CatalogueContents contents(const FileURL& library) {
    CatalogueContents found = catalogueContents(catalogueFile(library));
    for (CatalogueContents::Item& item : found.items) {
      item.original.content.value().modified = {};
    }
    return found;
  }

  void setUp() const {
    fs::remove_all(root.path());
    fs::copy(pristine.path(), root.path(), fs::copy_options::recursive);
  }

  RebuildPlan rebuild() const {
    LibraryRebuild rebuild(root, {}, busyTimeout);
    const RebuildPlan plan = rebuild.plan({}, [](const auto&) {});
    if (plan.isNeeded) {
      rebuild.carryOut(day(1));
    }
    return plan;
  }

  // Pictures that aren't there would be imported again.
  void expectNoEmptyLibrary() const {
    EmbeddedPhotoLibrary library(root);
    requestAndWait(library);
    try {
      EXPECT_EQ(library.fetchAssets(app::PhotosFetchOptions{}).size(), 2U);
    } catch (const app::PhotosPlatformError&) {
      SUCCEED() << "refused";
    }
  }

  // Names in the library's folder, without what is below it.
  std::set<std::string> names(const FileURL& parent) const {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(parent.path())) {
      found.insert(entry.path().filename().string());
    }
    return found;
  }

  std::size_t rebuildWithFault(const Fault& fault, void (*damage)(const FileURL&)) {
    return forEachFaultPoint(
        fault,
        [&] {
          setUp();
          damage(root);
        },
        [this] { rebuild(); },
        [this](const FaultOutcome& outcome) {
          expectNoEmptyLibrary();
          rebuild();
          EXPECT_TRUE(contents(root) == expected) << outcome.point << outcome.call;
          EXPECT_FALSE(rebuild().isNeeded);
          const std::set<std::string> left = names(root);
          EXPECT_FALSE(left.contains("Library.rebuilding.sqlite")) << outcome.point;
          EXPECT_FALSE(left.contains("Library.rebuilding.sqlite-wal")) << outcome.point;
          EmbeddedPhotoLibrary library(root);
          EXPECT_TRUE(library.verify().isSound());
          EXPECT_EQ(library.verify().unknown.size(), 0U);
        },
        step);
  }

  static constexpr std::size_t step = stepThrough(7);
  static constexpr std::size_t fewestPoints = 14 / step;
  const TemporaryFolder folder = TemporaryFolder::inMemory();
  const FileURL pristine = folder / "Pristine";
  const FileURL root = folder / "Library";
  CatalogueContents expected;
};

TEST_F(LibraryRecoveryFaults, aRebuildThatIsKilledAnywhereIsCompletedByTheNext) {
  for (const auto damage : {removeCatalogue, breakCatalogue, replaceCatalogueByANewOne}) {
    EXPECT_GT(rebuildWithFault(Fault::kill(), damage), fewestPoints);
  }
}

TEST_F(LibraryRecoveryFaults, aRebuildOnAFullDiskLosesNothing) {
  EXPECT_GT(rebuildWithFault(Fault::failing(ENOSPC), breakCatalogue), fewestPoints);
  EXPECT_GT(rebuildWithFault(Fault::failingFromThenOn(ENOSPC), breakCatalogue), fewestPoints);
}

// Another process may change the library then.
TEST_F(LibraryRecoveryFaults, aRebuildPutsNothingInPlaceWhereItsLockFileIsDeleted) {
  const auto planned = [this] {
    setUp();
    breakCatalogue(root);
    auto rebuild = std::make_unique<LibraryRebuild>(root, platform::linux_::KnownImports{}, busyTimeout);
    rebuild->plan({}, [](const auto&) {});
    return rebuild;
  };
  auto rebuild = planned();
  const std::size_t calls = countMutatingCalls([&] { rebuild->carryOut(day(1)); });
  rebuild = planned();
  const std::string broken = readFile(catalogueFile(root));
  runWithInterruption(
      calls / 2, [this] { fs::remove(root.appending("Library.lock").path()); },
      [&] { EXPECT_THROW(rebuild->carryOut(day(1)), app::PhotosPlatformError); });
  EXPECT_EQ(readFile(catalogueFile(root)), broken);
}

// As on a disk that stores other bytes than it was given.
TEST_F(LibraryRecoveryFaults, aRebuildPutsNothingInPlaceThatItReadsBackOtherwise) {
  const FileURL made = root.appending("Library.rebuilding.sqlite");
  const FileURL other = folder / "Other";
  fs::create_directory(other.path());
  replaceCatalogueByANewOne(other);
  setUp();
  breakCatalogue(root);
  const std::vector<std::string> calls = mutatingCalls([this] { rebuild(); });
  const auto lastSync = std::ranges::find(calls.rbegin(), calls.rend(), "fdatasync");
  ASSERT_NE(lastSync, calls.rend());
  setUp();
  breakCatalogue(root);
  const std::string broken = readFile(catalogueFile(root));
  runWithInterruption(
      static_cast<std::size_t>(calls.rend() - lastSync),
      [&] { fs::copy_file(catalogueFile(other).path(), made.path(), fs::copy_options::overwrite_existing); },
      [this] { EXPECT_THROW(rebuild(), app::PhotosPlatformError); });
  EXPECT_EQ(readFile(catalogueFile(root)), broken);
}

TEST_F(LibraryRecoveryFaults, aRebuildThatFailsLeavesTheOldCatalogueInItsPlace) {
  std::size_t failures = 0;
  std::string old;
  forEachFaultPoint(
      Fault::failing(EIO),
      [&] {
        setUp();
        breakCatalogue(root);
        old = readFile(catalogueFile(root));
      },
      [this] { rebuild(); },
      [&](const FaultOutcome& outcome) {
        if (outcome.threw) {
          ++failures;
          ASSERT_TRUE(fs::exists(catalogueFile(root).path())) << outcome.point << outcome.call;
          EXPECT_EQ(readFile(catalogueFile(root)), old) << outcome.point << outcome.call;
        }
      });
  EXPECT_GT(failures, fewestPoints);
}

// Of the backups, only whole ones have the name of a day.
TEST_F(LibraryRecoveryFaults, aBackupThatIsCutShortIsNone) {
  const CatalogueBackups backups(root);
  for (const Fault& fault : {Fault::failing(ENOSPC), Fault::failingFromThenOn(ENOSPC), Fault::kill()}) {
    const std::size_t points = forEachFaultPoint(
        fault, [this] { setUp(); }, [&] { backups.makeIfDue(day(1)); },
        [&](const FaultOutcome& outcome) {
          for (const FileURL& backup : backups.all()) {
            EXPECT_EQ(catalogueContents(backup).items.size(), 2U) << outcome.point << outcome.call;
          }
          if (outcome.call.empty()) {
            EXPECT_FALSE(outcome.threw) << outcome.message;
            EXPECT_EQ(backups.all().size(), 2U);
          }
          backups.makeIfDue(day(2));
          EXPECT_GE(backups.all().size(), 2U);
          EXPECT_FALSE(names(root.appending("Backups")).contains(".Library.sqlite.part"));
          EXPECT_TRUE(contents(root) == expected);
        },
        step);
    EXPECT_GT(points, fewestPoints);
  }
}

TEST_F(LibraryRecoveryFaults, aHistoryBackupThatIsCutShortIsNone) {
  const FileURL history = folder / "data/history.json";
  SyncHistoryStore(history).record(
      ImportRecord::make("source", "PICT0001.JPG", "DCIM/PICT0001.JPG", 1, {}, "asset", false));
  const std::string whole = readFile(history);
  const DailyBackups backups(history);
  for (const Fault& fault : {Fault::failing(ENOSPC), Fault::failingFromThenOn(ENOSPC), Fault::kill()}) {
    const std::size_t points = forEachFaultPoint(
        fault, [&] { fs::remove_all(backups.folder().path()); }, [&] { backUpHistory(history, day(1)); },
        [&](const FaultOutcome& outcome) {
          for (const FileURL& backup : backups.all()) {
            EXPECT_EQ(readFile(backup), whole) << outcome.point << outcome.call;
          }
          EXPECT_EQ(readFile(history), whole);
        });
    EXPECT_GT(points, 3U);
  }
}

}  // namespace
}  // namespace tolvander::tests
