#include "Platform/Linux/PhotoLibrary/IncomingCopies.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/PhotoLibrary/FileCopy.h"
#include "Platform/Linux/PhotoLibrary/FileIdentity.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Platform/Linux/PhotoLibrary/OriginalNames.h"
#include "Platform/Linux/PhotoLibrary/OriginalProperties.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosMediaType;
using app::PhotosPlatformError;
using app::PhotosResourceType;

namespace {

// Files open at the same time. The usual limit of a process is 1024.
constexpr std::size_t mostOpenCopies = 128;

OwnedDescriptor openSource(const FileURL& source) {
  OwnedDescriptor file(retryOnEINTR(
      [&] { return open(source.path().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  struct stat status {};
  if (!file || fstat(file.number(), &status) != 0) {
    throw PosixError(errno, "open", source);
  }
  if (!S_ISREG(status.st_mode)) {
    throw PosixError(EINVAL, "open", source);
  }
  return file;
}

}  // namespace

bool removeWaitingCopies(const Intent& intent, const LibraryFolder& folder, const OwnedDescriptor& incoming) {
  const auto remove = [](const OwnedDescriptor& from, const std::string& name) {
    return unlinkat(from.number(), name.c_str(), 0) == 0 || errno == ENOENT;
  };
  if (!remove(incoming, intent.temporaryName)) {
    return false;
  }
  try {
    const OwnedDescriptor final =
        folder.openFolder(folderOf(intent.original.path), LibraryFolder::Links::followed);
    return remove(final, carriedName(intent.temporaryName));
  } catch (const PosixError&) {
    return true;  // the folder doesn't exist
  }
}

IncomingCopies::IncomingCopies(const LibraryFolder& folder, Catalogue& catalogue)
    : folder_(&folder), catalogue_(&catalogue), zone_(TimeZone::current()), paths_(folder, catalogue) {}

IncomingCopies::~IncomingCopies() {
  if (isCommitted_) {
    return;
  }
  try {
    discard();
  } catch (const std::exception&) {
    return;  // leftovers are swept later, or dropped when their history asks
  }
}

std::vector<Intent> IncomingCopies::make(const std::vector<NewOriginal>& originals,
                                         const std::optional<std::string>& history,
                                         const std::optional<std::string>& album) {
  if (originals.empty()) {
    return {};
  }
  std::vector<std::string> madeFolders;
  const OwnedDescriptor incoming = folder_->makeFolder(LibraryFolder::incoming, madeFolders);
  intents_.reserve(originals.size());
  for (const NewOriginal& original : originals) {
    intents_.push_back(intentFor(original));
    intents_.back().history = history;
    intents_.back().album = album;
  }
  recordIntents();
  copyAll(originals, incoming);
  makeDurable(incoming, folder_->url().appending(LibraryFolder::incoming));
  return intents_;
}

// The intent for a file, before it is copied.
Intent IncomingCopies::intentFor(const NewOriginal& original) {
  const OwnedDescriptor source = openSource(original.source);
  const FileIdentity identity = identityOf(source, original.source);
  const OriginalProperties properties = originalProperties(original.source, original.type, zone_);
  const Date created = original.creationDate.value_or(properties.creationDate.value_or(identity.modified));
  const std::string filename(original.source.lastPathComponent());
  const bool isFilm = original.type == PhotosMediaType::video;
  return {.history = std::nullopt,
          .temporaryName = newIncomingName(),
          .album = std::nullopt,
          .asset = {.localIdentifier = original.identifier,
                    .creationDate = created,
                    .mediaType = original.type,
                    .pixelWidth = properties.pixelWidth,
                    .pixelHeight = properties.pixelHeight,
                    .duration = properties.duration},
          .original = {.type = isFilm ? PhotosResourceType::video : PhotosResourceType::photo,
                       .originalFilename = filename,
                       .path = paths_.choose(folderOfDay(created, zone_), originalName(filename)),
                       .byteCount = identity.byteCount,
                       .content = original.sha256
                                      ? std::optional(CataloguedContent{.sha256 = *original.sha256,
                                                                        .modified = identity.modified})
                                      : std::nullopt}};
}

void IncomingCopies::recordIntents() {
  Transaction transaction = catalogue_->change();
  for (const Intent& intent : intents_) {
    catalogue_->insertIntent(intent);
  }
  transaction.commit();
}

void IncomingCopies::copyAll(const std::vector<NewOriginal>& originals, const OwnedDescriptor& incoming) {
  const FileURL folder = folder_->url().appending(LibraryFolder::incoming);
  std::vector<OwnedDescriptor> open;
  const auto makeThemDurable = [&] {
    for (const OwnedDescriptor& copy : open) {
      makeDurable(copy, folder);
    }
    open.clear();
  };
  for (std::size_t index = 0; index < originals.size(); ++index) {
    Intent& intent = intents_[index];
    const FileURL url = folder.appending(intent.temporaryName);
    const OwnedDescriptor source = openSource(originals[index].source);
    OwnedDescriptor copy = newFile(incoming, intent.temporaryName, url);
    std::string sha256 = copyContent(source, copy, url);
    if (originals[index].sha256 && sha256 != *originals[index].sha256) {
      throw PhotosPlatformError(PhotosPlatformError::Case::invalidResource,
                                "a file was changed while it was imported");
    }
    takeOverDate(source, copy, url);
    const FileIdentity identity = identityOf(copy, url);
    intent.original.byteCount = identity.byteCount;
    intent.original.content = {.sha256 = std::move(sha256), .modified = identity.modified};
    open.push_back(std::move(copy));
    if (open.size() == mostOpenCopies) {
      makeThemDurable();
    }
  }
  makeThemDurable();
}

void IncomingCopies::discard() {
  if (intents_.empty()) {
    return;
  }
  const OwnedDescriptor incoming =
      folder_->openFolder(LibraryFolder::incoming, LibraryFolder::Links::refused);
  std::vector<std::string> removed;
  for (const Intent& intent : intents_) {
    if (removeWaitingCopies(intent, *folder_, incoming)) {
      removed.push_back(intent.asset.localIdentifier);
    }
  }
  makeDurable(incoming, folder_->url().appending(LibraryFolder::incoming));
  Transaction transaction = catalogue_->change();
  for (const std::string& asset : removed) {
    catalogue_->removeIntent(asset);
  }
  transaction.commit();
}

}  // namespace tolvander::platform::linux_
