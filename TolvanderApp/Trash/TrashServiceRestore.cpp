#include <exception>

#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Foundation/AbsolutePath.h"

namespace tolvander::app {

namespace {

// A path from the history, which may be damaged.
FileURL urlOfRecordedPath(const std::string& path) {
  auto url = urlOfAbsolutePath(path);
  if (!url) {
    throw UnsafeTrashItem();
  }
  return *std::move(url);
}

}  // namespace

FileURL TrashService::trashOfRecord(const std::string& recordedPath) const {
  FileURL trash = normalized(urlOfRecordedPath(recordedPath));
  if (normalized(platform_.trashDirectory(trash, false)) != trash) {
    throw UnsafeTrashItem();
  }
  return trash;
}

TrashService::OpenFile TrashService::openRecord(const ManagedTrashRecord& record) const {
  // Records of older versions have no values to compare with.
  if (!record.trashDirectoryPath || !record.identity || !record.photosAssetIdentifier ||
      record.photosAssetIdentifier->empty()) {
    throw UnsafeTrashItem();
  }
  OpenFile file = openFile(urlOfRecordedPath(record.trashedPath), trashOfRecord(*record.trashDirectoryPath));
  if (file.identity() != *record.identity) {
    throw UnsafeTrashItem();
  }
  return file;
}

std::vector<ManagedTrashRecord> TrashService::availableRecords(
    const std::vector<ManagedTrashRecord>& records) const {
  std::vector<ManagedTrashRecord> available;
  for (const ManagedTrashRecord& record : records) {
    try {
      openRecord(record);
      available.push_back(record);
    } catch (const std::exception&) {
      continue;  // its file has gone or changed, or can't be reached now
    }
  }
  return available;
}

TrashRestoreResult TrashService::restoreToOriginalLocations(
    const std::vector<ManagedTrashRecord>& records) const {
  TrashRestoreResult result;
  for (const ManagedTrashRecord& record : records) {
    try {
      restoreOne(record);
      result.restored.insert(record.id);
    } catch (const std::exception&) {
      result.failures.push_back(record.originalFilename);
    }
  }
  return result;
}

void TrashService::restoreOne(const ManagedTrashRecord& record) const {
  const OpenFile file = openRecord(record);
  file.verifyHash(record.fingerprint, CancellationToken());
  if (!record.originalPath) {
    throw UnsafeTrashItem();
  }
  const FileURL target = normalized(urlOfRecordedPath(*record.originalPath));
  const OpenDirectory directory = openDirectory(target.deletingLastPathComponent());
  if (volumeIdentifier(directory.url()) != file.identity().volumeIdentifier) {
    throw UnsafeTrashItem();
  }
  file.verifyName();
  const std::string name(target.lastPathComponent());
  platform_.renameExclusively(file.parent().descriptor(), file.name(), directory.descriptor(), name);
  // rename() takes a name, not an open file, so another file may have been moved. It isn't moved back,
  // because the name may have changed hands again; it doesn't count as restored.
  file.verifyNameIn(directory, name);
}

}  // namespace tolvander::app
