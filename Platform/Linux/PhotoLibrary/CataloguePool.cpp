#include "Platform/Linux/PhotoLibrary/CataloguePool.h"

#include <sys/stat.h>

#include <cerrno>

#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Platform/Linux/PhotoLibrary/LibrarySweep.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::size_t mostIdle = 4;

}  // namespace

CataloguePool::CataloguePool(LibraryFolder folder, std::chrono::milliseconds patience)
    : folder_(std::move(folder)), patience_(patience) {}

CataloguePool::Lease::~Lease() {
  if (catalogue_) {
    pool_->giveBack(identity_, std::move(catalogue_));
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

CataloguePool::Lease CataloguePool::take() {
  const Identity identity = identityOfFile();
  {
    const std::lock_guard lock(mutex_);
    if (prepared_ != identity) {
      idle_.clear();
      prepare();
      prepared_ = identity;
    }
    if (!idle_.empty()) {
      Lease lease(*this, identity, std::move(idle_.back()));
      idle_.pop_back();
      return lease;
    }
  }
  return {*this, identity, std::make_unique<Catalogue>(folder_.catalogueFile(), patience_)};
}

void CataloguePool::prepare() {
  const FileURL file = folder_.catalogueFile();
  if (Catalogue::isOutdated(file, patience_)) {
    const LibraryLock lock(folder_, patience_);
    Catalogue::createOrUpgrade(file, patience_);
  }
  if (const auto lock = LibraryLock::ifFree(folder_)) {
    Catalogue catalogue(file, patience_);
    sweepLeftovers(folder_, catalogue);
  }
}

void CataloguePool::giveBack(Identity identity, std::unique_ptr<Catalogue> catalogue) {
  const std::lock_guard lock(mutex_);
  if (prepared_ == identity && idle_.size() < mostIdle) {
    idle_.push_back(std::move(catalogue));
  }
}

}  // namespace tolvander::platform::linux_
