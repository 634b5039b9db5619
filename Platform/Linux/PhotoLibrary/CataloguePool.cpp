#include "Platform/Linux/PhotoLibrary/CataloguePool.h"

#include <sys/stat.h>

#include <cerrno>

#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Platform/Linux/PhotoLibrary/LostCatalogue.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::size_t mostIdle = 4;

}  // namespace

CataloguePool::CataloguePool(LibraryFolder folder, std::chrono::milliseconds busyTimeout)
    : folder_(std::move(folder)), busyTimeout_(busyTimeout) {}

CataloguePool::Lease::~Lease() {
  if (catalogue_) {
    pool_->giveBack(generation_, std::move(catalogue_));
  }
}

CataloguePool::Identity CataloguePool::identityOfFile() const {
  const FileURL file = folder_.catalogueFile();
  struct stat status {};
  if (lstat(file.path().c_str(), &status) != 0) {
    throw PosixError(errno, "open", file);
  }
  return {status.st_dev, status.st_ino};
}

// Throws PhotosPlatformError if the folder has pictures that the catalogue doesn't know at all.
CataloguePool::State CataloguePool::requireCatalogue() const {
  const FileURL file = folder_.catalogueFile();
  if (Catalogue::isUnmade(file, busyTimeout_)) {
    requireNoPictures(folder_, "empty");
    return State::unmade;
  }
  Catalogue catalogue(file, busyTimeout_);
  requireCatalogueOfPictures(folder_, catalogue);
  return State::made;
}

CataloguePool::Lease CataloguePool::take() {
  const Identity identity = identityOfFile();
  const std::lock_guard guard(mutex_);
  if (identity_ != identity) {
    if (requireCatalogue() == State::unmade) {
      const LibraryLock lock(folder_, busyTimeout_);
      Catalogue::createOrUpgrade(folder_.catalogueFile(), busyTimeout_);
    }
    startAnew(identity, false);
  }
  return lease();
}

CataloguePool::Lease CataloguePool::takeForChange(const LibraryLock&) {
  const Identity identity = identityOfFile();
  const std::lock_guard guard(mutex_);
  if (identity_ != identity) {
    requireCatalogue();
  }
  if (identity_ != identity || !isUpgraded_) {
    Catalogue::createOrUpgrade(folder_.catalogueFile(), busyTimeout_);
    startAnew(identity, true);
  }
  return lease();
}

CataloguePool::Lease CataloguePool::lease() {
  if (idle_.empty()) {
    return {*this, generation_, std::make_unique<Catalogue>(folder_.catalogueFile(), busyTimeout_)};
  }
  Lease lease(*this, generation_, std::move(idle_.back()));
  idle_.pop_back();
  return lease;
}

// Discards the connections to the previous file or version.
void CataloguePool::startAnew(Identity identity, bool isUpgraded) {
  identity_ = identity;
  isUpgraded_ = isUpgraded;
  ++generation_;
  idle_.clear();
}

void CataloguePool::giveBack(std::uint64_t generation, std::unique_ptr<Catalogue> catalogue) {
  const std::lock_guard lock(mutex_);
  if (generation == generation_ && idle_.size() < mostIdle) {
    idle_.push_back(std::move(catalogue));
  }
}

}  // namespace tolvander::platform::linux_
