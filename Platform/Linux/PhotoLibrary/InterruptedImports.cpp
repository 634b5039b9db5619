#include "Platform/Linux/PhotoLibrary/InterruptedImports.h"

#include <algorithm>
#include <utility>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/PhotoLibrary/IncomingCopies.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Platform/Linux/PhotoLibrary/OriginalContent.h"
#include "Platform/Linux/PhotoLibrary/OriginalsImport.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

using Links = LibraryFolder::Links;

std::string incomingPath(const Intent& intent) {
  return std::string(LibraryFolder::incoming) + "/" + intent.temporaryName;
}

}  // namespace

bool InterruptedImports::isOf(const UUID& history, const Intent& intent) {
  return intent.history == history.text() && isIncomingName(intent.temporaryName) && intent.original.content;
}

void InterruptedImports::complete(const app::PhotosInterruptedImports& imports, const LibraryLock& lock) {
  for (const Intent& intent : catalogue_->intents()) {
    if (!isOf(imports.history, intent)) {
      continue;
    }
    lock.requireHeld();
    const std::string& sha256 = intent.original.content->sha256;
    if (imports.pendingFingerprints.contains(sha256) || imports.isRecorded(sha256)) {
      completeOne(intent);
    } else if (!intent.isMarked) {
      drop(intent);
    }
  }
}

std::set<std::string> InterruptedImports::completable(const app::PhotosInterruptedImports& imports) {
  std::set<std::string> found;
  for (const std::string& fingerprint : imports.pendingFingerprints) {
    if (isHeld(fingerprint)) {
      found.insert(fingerprint);
    }
  }
  for (const Intent& intent : catalogue_->intents()) {
    const bool isMarked = isOf(imports.history, intent) &&
                          imports.pendingFingerprints.contains(intent.original.content->sha256);
    if (isMarked && (waits(intent) || hasItsName(intent))) {
      found.insert(intent.original.content->sha256);
    }
  }
  return found;
}

// A file with its final name can also still have its incoming name: it was copied, and the incoming file
// wasn't removed yet. Its asset may be catalogued already, and the user may have deleted or moved the
// original since.
void InterruptedImports::completeOne(Intent intent) {
  if (!catalogue_->originals(intent.asset.localIdentifier).empty() ||
      isHeld(intent.original.content->sha256)) {
    drop(intent);
  } else if (hasItsName(intent)) {
    makeNameDurable(intent);
    catalogue(intent);
    drop(intent);
  } else if (waits(intent)) {
    OriginalsImport originals(*folder_, *catalogue_);
    std::vector<Intent> intents = {std::move(intent)};
    originals.moveIntoPlace(intents);
    originals.commit();  // a later call finds it under its final name if cataloguing fails
    catalogue(intents.front());
    drop(intents.front());
  }
}

bool InterruptedImports::waits(const Intent& intent) const {
  return holds(incomingPath(intent), Links::refused, intent.original.content->sha256);
}

bool InterruptedImports::hasItsName(const Intent& intent) const {
  return !catalogue_->hasPath(intent.original.path) &&
         holds(intent.original.path, Links::followed, intent.original.content->sha256);
}

// Whether an original has that content now.
bool InterruptedImports::isHeld(const std::string& sha256) {
  const auto assets = catalogue_->assetsWithContent(sha256);
  return std::ranges::any_of(
      assets, [&](const auto& asset) { return holds(asset.second.path, Links::followed, sha256); });
}

bool InterruptedImports::holds(const std::string& path, Links links, const std::string& sha256) const {
  try {
    const OwnedDescriptor file = folder_->openFile(path, links);
    return sha256Of(file, folder_->url().appending(path), {}) == sha256;
  } catch (const PosixError&) {
    return false;
  }
}

void InterruptedImports::catalogue(const Intent& intent) {
  Transaction transaction = catalogue_->change();
  catalogue_->insertAsset(intent.asset, intent.original);
  if (intent.album) {
    catalogue_->addToAlbum(*intent.album, {intent.asset.localIdentifier});  // unless the album is gone
  }
  transaction.commit();
}

// The process that renamed the file may have ended before the name was durable.
void InterruptedImports::makeNameDurable(const Intent& intent) const {
  makeDurable(folder_->openFile(intent.original.path, Links::followed),
              folder_->url().appending(intent.original.path));
  const std::string_view path = folderOf(intent.original.path);
  makeDurable(folder_->openFolder(path, Links::followed), folder_->url().appending(path));
}

void InterruptedImports::drop(const Intent& intent) {
  const OwnedDescriptor incoming = folder_->openFolder(LibraryFolder::incoming, Links::refused);
  if (!removeWaitingCopies(intent, *folder_, incoming)) {
    return;
  }
  if (hasItsName(intent)) {
    return;  // verifications list the file while its intent exists
  }
  makeDurable(incoming, folder_->url().appending(LibraryFolder::incoming));
  Transaction transaction = catalogue_->change();
  catalogue_->removeIntent(intent.asset.localIdentifier);
  transaction.commit();
}

}  // namespace tolvander::platform::linux_
