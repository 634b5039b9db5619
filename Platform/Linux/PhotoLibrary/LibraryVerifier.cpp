#include "Platform/Linux/PhotoLibrary/LibraryVerifier.h"

#include <sys/stat.h>

#include <optional>
#include <utility>

#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Platform/Linux/PhotoLibrary/OriginalContent.h"
#include "Platform/Linux/PhotoLibrary/OriginalFiles.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::platform::linux_ {

namespace {

// Read in batches, so that no read transaction is open while files are read.
constexpr std::size_t originalsAtATime = 200;

std::string sizesText(std::int64_t size, std::int64_t expected) {
  return std::to_string(size) + " bytes instead of " + std::to_string(expected);
}

// Absent if there is nothing.
std::optional<std::string> whatIsThereInstead(const FileURL& file, std::int64_t expectedSize) {
  struct stat status {};
  if (stat(file.path().c_str(), &status) != 0) {
    return std::nullopt;
  }
  return S_ISREG(status.st_mode) ? sizesText(status.st_size, expectedSize) : "not a file";
}

Date modificationDate(const OwnedDescriptor& file) {
  struct stat status {};
  if (fstat(file.number(), &status) != 0) {
    return {};
  }
  return dateSince1970(status.st_mtim.tv_sec, status.st_mtim.tv_nsec).value_or(Date());
}

}  // namespace

LibraryVerifier::LibraryVerifier(const LibraryFolder& folder, CataloguePool& catalogues,
                                 const VerificationOptions& options, const CancellationToken& token)
    : folder_(&folder), catalogues_(&catalogues), options_(&options), token_(token), presence_(folder) {}

LibraryVerification LibraryVerifier::run() {
  {
    const CataloguePool::Lease catalogue = catalogues_->take();
    found_.catalogueProblems = catalogue->problems();
    const CatalogueTotals totals = catalogue->totals();
    found_.assets = totals.assets;
    progress_.originalsInAll = totals.originals;
    progress_.bytesInAll = totals.bytes;
  }
  std::vector<CataloguedOriginal> originals;
  std::optional<CataloguedOriginal> last;
  while (!(originals = catalogues_->take()->originalsAfter(last, originalsAtATime)).empty()) {
    for (const CataloguedOriginal& original : originals) {
      token_.throwIfCancelled();
      examine(original);
      ++progress_.originals;
      options_->progress(progress_);
    }
    last = std::move(originals.back());
    keepWhatWasLearnt();
  }
  found_.originals = progress_.originals;
  findUnfinishedFiles();
  findFilesBeside();
  return std::move(found_);
}

void LibraryVerifier::examine(const CataloguedOriginal& original) {
  const CataloguedResource& resource = original.resource;
  const FileURL file = folder_->url().appending(resource.path);
  known_.insert(file.path());
  FaultyOriginal fault{.file = file, .assetIdentifier = original.asset, .reason = {}};
  switch (presence_.stateOf(resource.path, resource.byteCount)) {
    case OriginalPresence::State::present:
      if (options_->readsContent) {
        examineContent(original, fault);
      }
      return;
    case OriginalPresence::State::notLocal:
      fault.reason = "it, or a link on the way to it, leads nowhere, or can't be looked at";
      found_.unreadable.push_back(std::move(fault));
      return;
    case OriginalPresence::State::gone:
      break;
  }
  if (auto instead =
          isOriginalPath(resource.path) ? whatIsThereInstead(file, resource.byteCount) : std::nullopt) {
    fault.reason = std::move(*instead);
    found_.changed.push_back(std::move(fault));
  } else {
    found_.missing.push_back(std::move(fault));
  }
}

void LibraryVerifier::examineContent(const CataloguedOriginal& original, const FaultyOriginal& fault) {
  try {
    const OwnedDescriptor file = folder_->openFile(original.resource.path, LibraryFolder::Links::followed);
    const Date modified = modificationDate(file);
    std::string sha256 = sha256Of(file, fault.file, token_, [&](std::span<const std::byte> chunk) {
      progress_.bytes += static_cast<std::int64_t>(chunk.size());
      options_->progress(progress_);
    });
    // The content of a file that is being written can't be compared or stored.
    if (modificationDate(file) == modified) {
      compare(original, {.sha256 = std::move(sha256), .modified = modified}, fault);
    }
  } catch (const PosixError& error) {
    FaultyOriginal unreadable = fault;
    unreadable.reason = error.what();
    found_.unreadable.push_back(std::move(unreadable));
  }
}

void LibraryVerifier::compare(const CataloguedOriginal& original, CataloguedContent content,
                              const FaultyOriginal& fault) {
  const auto& catalogued = original.resource.content;
  const auto history = options_->knownContents.find(original.asset);
  const bool isInHistory = history != options_->knownContents.end() && original.position == 0;
  if (!catalogued && !isInHistory) {
    ++found_.hashedForTheFirstTime;
  }
  const std::string& expected = catalogued    ? catalogued->sha256
                                : isInHistory ? history->second
                                              : content.sha256;
  if (content.sha256 != expected) {
    FaultyOriginal damaged = fault;
    damaged.reason = "its content isn't what it was";
    found_.damaged.push_back(std::move(damaged));
  } else if (catalogued != content) {
    learnt_.push_back(original);
    learnt_.back().resource.content = std::move(content);
  }
}

// Errors are ignored: the next verification stores it.
void LibraryVerifier::keepWhatWasLearnt() {
  const std::vector<CataloguedOriginal> learnt = std::exchange(learnt_, {});
  if (learnt.empty()) {
    return;
  }
  try {
    if (const auto lock = LibraryLock::ifFree(*folder_)) {
      const CataloguePool::Lease catalogue = catalogues_->takeForChange(*lock);
      Transaction transaction = catalogue->change();
      for (const CataloguedOriginal& original : learnt) {
        catalogue->setContent(original);
      }
      transaction.commit();
    }
  } catch (const DatabaseError&) {
    return;
  }
}

// Incoming files, with or without an intent; files with final names of intents; and copies in the folders of
// those (carriedName).
void LibraryVerifier::findUnfinishedFiles() {
  std::ranges::copy(incomingFiles(*folder_), std::back_inserter(found_.unfinished));
  for (const Intent& intent : catalogues_->take()->intents()) {
    const FileURL file = folder_->url().appending(intent.original.path);
    if (isOriginalPath(intent.original.path) && fileExists(file) && known_.insert(file.path()).second) {
      found_.unfinished.push_back(file);
    }
    const FileURL carried = file.deletingLastPathComponent().appending(carriedName(intent.temporaryName));
    if (isOriginalPath(intent.original.path) && isIncomingName(intent.temporaryName) && fileExists(carried)) {
      found_.unfinished.push_back(carried);
    }
  }
}

void LibraryVerifier::findFilesBeside() {
  forEachOriginalFile(*folder_, [&](const FileURL& file) {
    token_.throwIfCancelled();
    if (!known_.contains(file.path())) {
      found_.unknown.push_back(file);
    }
    return true;
  });
}

}  // namespace tolvander::platform::linux_
