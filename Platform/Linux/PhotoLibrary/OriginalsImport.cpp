#include "Platform/Linux/PhotoLibrary/OriginalsImport.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <utility>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/Files/FileSystemKind.h"
#include "Platform/Linux/PhotoLibrary/FileCopy.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Platform/Linux/PhotoLibrary/OriginalNames.h"
#include "Platform/Linux/PhotoLibrary/RenameToFreeName.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

OwnedDescriptor openIncoming(const LibraryFolder& folder) {
  return folder.openFolder(LibraryFolder::incoming, LibraryFolder::Links::refused);
}

OwnedDescriptor openIncomingFile(const OwnedDescriptor& incoming, const std::string& name,
                                 const FileURL& url) {
  OwnedDescriptor file(retryOnEINTR([&] {
    return openat(incoming.number(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  }));
  if (!file) {
    throw PosixError(errno, "open", url);
  }
  return file;
}

// Removes the copy unless its name belongs to another file by now.
void removeCopy(const OwnedDescriptor& copy, const OwnedDescriptor& folder, const std::string& name,
                const FileURL& url) noexcept {
  try {
    if (isFile(identityOf(copy, url), folder, name)) {
      unlinkat(folder.number(), name.c_str(), 0);
    }
  } catch (const PosixError&) {
    return;  // its intent still names it
  }
}

}  // namespace

OriginalsImport::~OriginalsImport() {
  if (isCommitted_) {
    return;
  }
  try {
    rollBack();
  } catch (const std::exception&) {
    return;
  }
}

void OriginalsImport::moveIntoPlace(std::vector<Intent>& intents) {
  mark(intents);
  named_.reserve(intents.size());  // so that push_back can't throw after a file was moved
  const OwnedDescriptor incoming = openIncoming(*folder_);
  for (Intent& intent : intents) {
    moveOne(intent, incoming);
  }
  makeFoldersDurable();
}

// The history's marks are durable by now. From here on a history without them is an older state, which must
// not make the files be dropped.
void OriginalsImport::mark(std::vector<Intent>& intents) {
  const auto isToBeMarked = [](const Intent& intent) { return intent.history && !intent.isMarked; };
  if (std::ranges::none_of(intents, isToBeMarked)) {
    return;
  }
  Transaction transaction = catalogue_->change();
  for (Intent& intent : intents) {
    if (isToBeMarked(intent)) {
      catalogue_->markIntent(intent.asset.localIdentifier, true);
      markedAssets_.push_back(intent.asset.localIdentifier);
      intent.isMarked = true;
    }
  }
  transaction.commit();
}

void OriginalsImport::moveOne(Intent& intent, const OwnedDescriptor& incoming) {
  bool isCopy = isOnFAT(folderFor(std::string(folderOf(intent.original.path))).number());
  FileIdentity identity;
  try {
    identity = isCopy ? copyToName(intent, incoming) : giveName(intent, incoming, intent.temporaryName);
  } catch (const PosixError& error) {
    if (error.code() != EXDEV) {
      throw;
    }
    identity = carryOver(intent, incoming);
    isCopy = true;
  }
  intent.original.content->modified = identity.modified;
  named_.push_back({.asset = intent.asset.localIdentifier,
                    .temporaryName = intent.temporaryName,
                    .path = intent.original.path,
                    .identity = identity,
                    .isCopy = isCopy});
}

// Chooses another name while the intended one is taken.
FileIdentity OriginalsImport::giveName(Intent& intent, const OwnedDescriptor& from, const std::string& name) {
  const FileURL url = folder_->url().appending(intent.original.path);
  const OwnedDescriptor file = openIncomingFile(from, name, url);
  const std::string folder(folderOf(intent.original.path));
  while (!renameToFreeName(from, name, folderFor(folder), std::string(nameIn(intent.original.path)), url)) {
    chooseAnotherName(intent);
  }
  return identityOf(file, url);
}

void OriginalsImport::chooseAnotherName(Intent& intent) {
  intent.original.path = paths_.choose(std::string(folderOf(intent.original.path)),
                                       originalName(intent.original.originalFilename));
  Transaction transaction = catalogue_->change();
  catalogue_->moveIntent(intent.asset.localIdentifier, intent.original.path);
  transaction.commit();
}

// The final folder is on another file system, because the user moved it there and left a link. The file is
// copied to that file system under a hidden name first, and then renamed, so that it is never visible in
// part.
FileIdentity OriginalsImport::carryOver(Intent& intent, const OwnedDescriptor& incoming) {
  const std::string folderPath(folderOf(intent.original.path));
  const OwnedDescriptor& folder = folderFor(folderPath);
  const std::string name = carriedName(intent.temporaryName);
  const FileURL url = folder_->url().appending(folderPath).appending(name);
  unlinkat(folder.number(), name.c_str(), 0);  // left by an earlier attempt
  const OwnedDescriptor source = openIncomingFile(incoming, intent.temporaryName, url);
  try {
    const OwnedDescriptor copy = newFile(folder, name, url);
    copyContent(source, copy, url);
    takeOverDate(source, copy, url);
    makeDurable(copy, url);
    return giveName(intent, folder, name);
  } catch (const Error&) {
    unlinkat(folder.number(), name.c_str(), 0);
    throw;
  }
}

// Others can see the file while it grows. After a crash or a power loss it may be incomplete, while its
// incoming file is complete.
FileIdentity OriginalsImport::copyToName(Intent& intent, const OwnedDescriptor& incoming) {
  const OwnedDescriptor source = openIncomingFile(incoming, intent.temporaryName, folder_->url());
  const OwnedDescriptor& folder = folderFor(std::string(folderOf(intent.original.path)));
  const auto newFileOrNone = [&]() -> std::optional<OwnedDescriptor> {
    try {
      return newFile(folder, std::string(nameIn(intent.original.path)), folder_->url());
    } catch (const PosixError& error) {
      if (error.code() != EEXIST) {
        throw;
      }
      return std::nullopt;
    }
  };
  std::optional<OwnedDescriptor> copy = newFileOrNone();
  while (!copy) {
    chooseAnotherName(intent);
    copy = newFileOrNone();
  }
  const FileURL url = folder_->url().appending(intent.original.path);
  try {
    copyContent(source, *copy, url);
    takeOverDate(source, *copy, url);
    makeDurable(*copy, url);
    return identityOf(*copy, url);
  } catch (const Error&) {
    removeCopy(*copy, folder, std::string(nameIn(intent.original.path)), url);
    throw;
  }
}

const OwnedDescriptor& OriginalsImport::folderFor(const std::string& path) {
  const auto known = folders_.find(path);
  return known != folders_.end()
             ? known->second
             : folders_.emplace(path, folder_->makeFolder(path, madeFolders_)).first->second;
}

void OriginalsImport::makeFoldersDurable() {
  for (const auto& [path, folder] : folders_) {
    makeDurable(folder, folder_->url().appending(path));
  }
}

bool OriginalsImport::isCopied(const std::string& asset) const {
  return std::ranges::any_of(named_, [&](const Named& file) { return file.asset == asset && file.isCopy; });
}

void OriginalsImport::removeIncoming() noexcept {
  if (std::ranges::none_of(named_, &Named::isCopy)) {
    return;
  }
  try {
    const OwnedDescriptor incoming = openIncoming(*folder_);
    std::vector<std::string> removed;
    for (const Named& file : named_) {
      if (file.isCopy && unlinkat(incoming.number(), file.temporaryName.c_str(), 0) == 0) {
        removed.push_back(file.asset);
      }
    }
    makeDurable(incoming, folder_->url().appending(LibraryFolder::incoming));
    Transaction transaction = catalogue_->change();
    for (const std::string& asset : removed) {
      catalogue_->removeIntent(asset);
    }
    transaction.commit();
  } catch (const std::exception&) {
    return;
  }
}

void OriginalsImport::rollBack() {
  if (named_.empty() && markedAssets_.empty()) {
    return;
  }
  const OwnedDescriptor incoming = openIncoming(*folder_);
  bool isDone = true;
  for (const Named& file : named_) {
    isDone = rollBack(file, incoming) && isDone;
  }
  // In this order: without a journal each name is kept with its own folder, and a file must not be without
  // one.
  makeDurable(incoming, folder_->url().appending(LibraryFolder::incoming));
  makeFoldersDurable();
  const OwnedDescriptor library = folder_->open();
  for (auto made = madeFolders_.rbegin(); made != madeFolders_.rend(); ++made) {
    unlinkat(library.number(), made->c_str(), AT_REMOVEDIR);  // fails if it is not empty
  }
  if (isDone && !markedAssets_.empty()) {
    Transaction transaction = catalogue_->change();
    for (const std::string& asset : markedAssets_) {
      catalogue_->markIntent(asset, false);
    }
    transaction.commit();
  }
}

bool OriginalsImport::rollBack(const Named& file, const OwnedDescriptor& incoming) {
  const OwnedDescriptor& folder = folderFor(std::string(folderOf(file.path)));
  const std::string name(nameIn(file.path));
  if (!isFile(file.identity, folder, name)) {
    return false;  // it was moved, changed or replaced
  }
  return file.isCopy ? unlinkat(folder.number(), name.c_str(), 0) == 0
                     : renameToFreeName(folder, name, incoming, file.temporaryName,
                                        folder_->url().appending(file.path));
}

}  // namespace tolvander::platform::linux_
