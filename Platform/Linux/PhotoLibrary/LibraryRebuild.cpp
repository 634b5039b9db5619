#include "Platform/Linux/PhotoLibrary/LibraryRebuild.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Platform/Linux/PhotoLibrary/LostCatalogue.h"
#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Files/DayText.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

constexpr std::string_view asidePrefix = "Library before ";

LibraryFolder folderWithOriginals(const FileURL& url) {
  LibraryFolder folder(url);
  OriginalPresence(folder).requireOriginals();
  return folder;
}

DatabaseFile newCatalogueFile(const LibraryFolder& folder) {
  return DatabaseFile(
      folder.catalogueFile().deletingLastPathComponent().appending("Library.rebuilding.sqlite"));
}

// A free name: "Library before 2026-11-20 191317.sqlite".
FileURL asideName(const LibraryFolder& folder, Date now) {
  constexpr std::size_t lengthOfDay = 10;
  const TimeZone zone = TimeZone::current();
  std::string time = exifDateText(now, zone).substr(lengthOfDay);
  std::erase(time, ':');
  const FileURL parent = folder.catalogueFile().deletingLastPathComponent();
  std::string name = std::string(asidePrefix) + dayText(now, zone) + time;
  while (fileExists(parent.appending(name + ".sqlite"))) {
    name += "+";
  }
  return parent.appending(name + ".sqlite");
}

// Absent if the catalogue is missing or damaged. Throws DatabaseError if it may be intact but can't be read
// now, because the new catalogue would lack its contents.
std::optional<CatalogueContents> readContents(const FileURL& file, std::chrono::milliseconds busyTimeout) {
  if (!fileExists(file)) {
    return std::nullopt;
  }
  try {
    Catalogue catalogue(file, busyTimeout);
    return contentsOf(catalogue);
  } catch (const DatabaseError& error) {
    if (!isDamage(error)) {
      throw;
    }
  } catch (const PhotosPlatformError&) {
    return std::nullopt;
  }
  return std::nullopt;
}

bool isSound(const FileURL& file, std::chrono::milliseconds busyTimeout) {
  try {
    return Catalogue(file, busyTimeout).problems().empty();
  } catch (const DatabaseError& error) {
    if (!isDamage(error)) {
      throw;
    }
  }
  return false;
}

// Former catalogues that were set aside, the last changed one first.
std::vector<FileURL> keptCatalogues(const LibraryFolder& folder) {
  std::vector<FileURL> kept = CatalogueBackups(folder.url()).all();
  for (const FileURL& file : contentsOfDirectory(folder.catalogueFile().deletingLastPathComponent())) {
    if (file.lastPathComponent().starts_with(asidePrefix) && file.pathExtension() == "sqlite") {
      kept.push_back(file);
    }
  }
  std::ranges::stable_sort(kept, std::ranges::greater(), [](const FileURL& file) {
    return fileResourceValues(file).contentModificationDate.value_or(Date());
  });
  return kept;
}

// The number of the files that a catalogue names: by content, or by path and size if it never hashed them.
std::size_t countOfNamed(const CatalogueContents& catalogue, const std::vector<FoundOriginal>& originals) {
  std::set<std::string_view> contents;
  std::set<std::pair<std::string_view, std::int64_t>> unhashed;
  for (const CatalogueContents::Item& item : catalogue.items) {
    if (item.original.content) {
      contents.insert(item.original.content->sha256);
    } else {
      unhashed.emplace(item.original.path, item.original.byteCount);
    }
  }
  return static_cast<std::size_t>(std::ranges::count_if(originals, [&](const FoundOriginal& file) {
    return contents.contains(file.sha256) || unhashed.contains({file.path, file.byteCount});
  }));
}

// Checkpoints the write-ahead log, so that the file doesn't depend on it. Throws DatabaseError; closing the
// database wouldn't report a failure.
void checkpoint(const FileURL& file, std::chrono::milliseconds busyTimeout) {
  Database database(file, Database::OpenMode::existing, busyTimeout);
  database.checkpointOnClose();
  database.run("PRAGMA wal_checkpoint(TRUNCATE)");
}

}  // namespace

LibraryRebuild::LibraryRebuild(const FileURL& folder, KnownImports imports,
                               std::chrono::milliseconds busyTimeout)
    : folder_(folderWithOriginals(folder)), imports_(std::move(imports)), busyTimeout_(busyTimeout) {
  if (Catalogue::isOfNewerVersion(folder_.catalogueFile(), busyTimeout_)) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "a newer version of this program made the catalogue of the photo library");
  }
}

RebuildPlan LibraryRebuild::plan(const CancellationToken& token, const FoundOriginals::Progress& progress) {
  const LibraryLock lock(folder_, busyTimeout_);
  present_ = readContents(folder_.catalogueFile(), busyTimeout_);
  FoundOriginals found(folder_, token, progress);
  originals_ = found.originals();
  incoming_ = found.incoming();
  chooseFormerCatalogue();
  if (originals_.empty() && !(former_.items.empty() && imports_.imports.empty())) {
    throw PhotosPlatformError(PhotosPlatformError::Case::networkAccessRequired,
                              "none of the pictures of the photo library is here");
  }
  RebuiltContents rebuilt(folder_, former_, imports_);
  planned_ = rebuilt.make(originals_, incoming_);
  return {.isNeeded = present_ != planned_ || !isSound(folder_.catalogueFile(), busyTimeout_),
          .items = static_cast<std::int64_t>(planned_.items.size()),
          .counts = rebuilt.counts(),
          .source = source_};
}

// Of catalogues that name no existing file, one with items is preferred to one with albums only.
void LibraryRebuild::chooseFormerCatalogue() {
  former_ = {};
  source_ = std::nullopt;
  std::pair<std::size_t, bool> best;
  const auto consider = [&](const FileURL& file, const CatalogueContents& contents) {
    const std::pair rank(countOfNamed(contents, originals_), !contents.items.empty());
    if (!contents.isEmpty() && (!source_ || rank > best)) {
      former_ = contents;
      source_ = file;
      best = rank;
    }
  };
  if (present_) {
    consider(folder_.catalogueFile(), *present_);
  }
  for (const FileURL& file : keptCatalogues(folder_)) {
    if (source_ && best.first == originals_.size()) {
      break;
    }
    if (const auto contents = readContents(file, busyTimeout_)) {
      consider(file, *contents);
    }
  }
  if (present_) {
    addMissing(former_, *present_);
    former_.intents = present_->intents;  // intents of former catalogues are outdated
  }
}

void LibraryRebuild::requireUnchanged() const {
  const FoundOriginals found(folder_, {}, [](const VerificationProgress&) {});
  if (!found.areUnchanged(originals_, incoming_) ||
      readContents(folder_.catalogueFile(), busyTimeout_) != present_) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "the photo library was changed in between: its catalogue was not made anew");
  }
}

std::optional<FileURL> LibraryRebuild::carryOut(Date now) {
  const LibraryLock lock(folder_, busyTimeout_);
  requireUnchanged();
  const DatabaseFile made = newCatalogueFile(folder_);
  made.remove();  // left by a process that was killed
  try {
    makeNewCatalogue();
    lock.requireHeld();
    return putInPlace(made, now);
  } catch (const std::exception&) {
    made.remove();
    throw;
  }
}

std::optional<FileURL> LibraryRebuild::putInPlace(const DatabaseFile& made, Date now) const {
  const FileURL aside = asideName(folder_, now);
  const bool isOldThere = fileExists(folder_.catalogueFile());
  try {
    setOldCatalogueAside(aside);
    made.moveTo(folder_.catalogueFile());
  } catch (const std::exception&) {
    putOldCatalogueBack(aside);
    throw;
  }
  return isOldThere ? std::optional(aside) : std::nullopt;
}

void LibraryRebuild::makeNewCatalogue() const {
  const FileURL file = newCatalogueFile(folder_).url();
  Catalogue::createOrUpgrade(file, busyTimeout_);
  {
    Catalogue catalogue(file, busyTimeout_);
    fill(catalogue, planned_);
  }
  checkpoint(file, busyTimeout_);
  if (readContents(file, busyTimeout_) != planned_) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "the new catalogue of the photo library was not written as planned");
  }
}

// Also sets the old log aside: SQLite would apply it to the new catalogue of the same name.
void LibraryRebuild::setOldCatalogueAside(const FileURL& aside) const {
  const FileURL old = folder_.catalogueFile();
  try {
    checkpoint(old, busyTimeout_);
  } catch (const DatabaseError&) {
    // It is damaged or missing; its log is set aside with it.
  }
  DatabaseFile(old).setAside(aside);
}

void LibraryRebuild::putOldCatalogueBack(const FileURL& aside) const noexcept {
  try {
    DatabaseFile(aside).setAside(folder_.catalogueFile());
  } catch (const PosixError&) {
    return;  // the next rebuild finds it under the other name
  }
}

}  // namespace tolvander::platform::linux_
