#include <chrono>
#include <exception>
#include <optional>

#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

namespace {

Date now() {
  return std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
}

// An intent that could not be removed is dropped at the next start, because its file is on the camera.
void withdraw(const TrashIntent& intent, const TrashIntentLog& intents) {
  try {
    intents.withdraw(intent.id);
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace

// The values that all files of one move share.
struct TrashService::Move {
  const FileURL& volumeURL;
  const std::string& deviceIdentifier;
  const std::string& volumeName;
  const std::map<std::string, std::string>& assetIdentifiers;
  const TrashIntentLog& intents;
  const CancellationToken& token;
};

TrashMoveResult TrashService::moveToTrash(const std::vector<FingerprintedMediaFile>& files,
                                          const FileURL& volumeURL, const std::string& deviceIdentifier,
                                          const std::string& volumeName,
                                          const std::map<std::string, std::string>& assetIdentifiers,
                                          const TrashIntentLog& intents,
                                          const CancellationToken& token) const {
  const Move move{volumeURL, deviceIdentifier, volumeName, assetIdentifiers, intents, token};
  TrashMoveResult result;
  for (const FingerprintedMediaFile& file : files) {
    try {
      token.throwIfCancelled();
      result.records.push_back(moveOne(file, move, result.recoveryPaths));
    } catch (const CancellationError&) {
      result.cancelled = true;
      break;
    } catch (const std::exception&) {
      result.failures.push_back(file.file.filename);
    }
  }
  return result;
}

ManagedTrashRecord TrashService::moveOne(const FingerprintedMediaFile& file, const Move& move,
                                         std::vector<std::string>& recoveryPaths) const {
  const auto asset = move.assetIdentifiers.find(file.sourceFingerprint);
  if (asset == move.assetIdentifiers.end() || asset->second.empty()) {
    throw UnsafeTrashItem();
  }
  const OpenFile source = openFile(file.file.url, move.volumeURL);
  source.verifyHash(file.sourceFingerprint, move.token);
  const OpenDirectory trash = openDirectory(platform_.trashDirectory(move.volumeURL, true));
  if (volumeIdentifier(trash.url()) != source.identity().volumeIdentifier) {
    throw UnsafeTrashItem();
  }
  source.verifyName();
  move.token.throwIfCancelled();

  const TrashIntent intent{.id = UUID::random(),
                           .deviceIdentifier = move.deviceIdentifier,
                           .volumeName = move.volumeName,
                           .originalFilename = file.file.filename,
                           .originalPath = normalized(file.file.url).path(),
                           .trashDirectoryPath = trash.url().path(),
                           .volumeIdentifier = source.identity().volumeIdentifier,
                           .fingerprint = file.sourceFingerprint,
                           .photosAssetIdentifier = asset->second,
                           .intendedAt = std::chrono::floor<std::chrono::seconds>(now())};
  move.intents.begin(intent);
  const auto resulting = moveEntry(source, trash, intent, move);
  if (!resulting) {
    recoveryPaths.push_back(trashTitle_ + ": " + file.file.filename);
    throw UnsafeTrashItem();
  }
  try {
    const OpenFile moved = openFile(*resulting, trash.url());
    moved.verifyHash(file.sourceFingerprint, move.token);
    return intent.recordOf(normalized(*resulting).path(), moved.identity(), now());
  } catch (...) {
    if (putBack(source, trash, *resulting)) {
      withdraw(intent, move.intents);
    } else {
      recoveryPaths.push_back(resulting->path());
    }
    throw;
  }
}

// Another file may have taken the name since the check, so the moved file is checked again afterwards.
std::optional<FileURL> TrashService::moveEntry(const OpenFile& source, const OpenDirectory& trash,
                                               const TrashIntent& intent, const Move& move) const {
  try {
    return platform_.trashItem(source.parent().descriptor(), source.name(), trash.descriptor());
  } catch (...) {
    withdraw(intent, move.intents);
    throw;
  }
}

// If the file is in the Trash directory that was open, it is moved back through the same descriptors, because
// their paths may lead elsewhere by now. Anything else that was moved is moved back by its path.
bool TrashService::putBack(const OpenFile& source, const OpenDirectory& trash,
                           const FileURL& resulting) const {
  const std::string name(resulting.lastPathComponent());
  try {
    source.verifyNameIn(trash, name);
  } catch (const std::exception&) {
    return restoreMovedEntry(resulting, source.parent().url().appending(source.name()));
  }
  try {
    platform_.renameExclusively(trash.descriptor(), name, source.parent().descriptor(), source.name());
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool TrashService::restoreMovedEntry(const FileURL& movedURL, const FileURL& originalURL) const {
  try {
    const FileURL moved = normalized(movedURL);
    const FileURL original = normalized(originalURL);
    const FileURL folder = moved.deletingLastPathComponent();
    if (!moved.isBelow(normalized(platform_.trashDirectory(folder, false)))) {
      return false;
    }
    const OpenDirectory from = openDirectory(folder);
    const OpenDirectory to = openDirectory(original.deletingLastPathComponent());
    if (volumeIdentifier(from.url()) != volumeIdentifier(to.url())) {
      return false;
    }
    platform_.renameExclusively(from.descriptor(), std::string(moved.lastPathComponent()), to.descriptor(),
                                std::string(original.lastPathComponent()));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace tolvander::app
