#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"

namespace tolvander::platform::linux_ {

// Connections to one library's catalogue, so that several threads read at once and statements stay compiled.
// Safe on every thread.
//
// What only looks at the library changes nothing in it: an older catalogue is upgraded when the library is
// about to be changed. One in which nothing is yet, because its making was cut short, is made. A catalogue
// that names nothing although there are pictures is refused (LostCatalogue.h).
class CataloguePool {
 public:
  CataloguePool(LibraryFolder folder, std::chrono::milliseconds busyTimeout);

  // Returns the connection to the pool when it is gone.
  class Lease {
   public:
    ~Lease();
    Lease(Lease&&) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    Catalogue& operator*() const { return *catalogue_; }
    Catalogue* operator->() const { return catalogue_.get(); }

   private:
    friend class CataloguePool;
    Lease(CataloguePool& pool, std::uint64_t generation, std::unique_ptr<Catalogue> catalogue)
        : pool_(&pool), generation_(generation), catalogue_(std::move(catalogue)) {}
    CataloguePool* pool_;
    std::uint64_t generation_;
    std::unique_ptr<Catalogue> catalogue_;
  };

  // To look. Throws PhotosPlatformError, DatabaseError and PosixError.
  Lease take();

  // To look and to change, while the lock is held; upgrades the catalogue if it has to be. Throws as above.
  Lease takeForChange(const LibraryLock& lock);

 private:
  using Identity = std::pair<dev_t, ino_t>;
  enum class State { unmade, made };

  Identity identityOfFile() const;
  State requireCatalogue() const;
  Lease lease();
  void startAnew(Identity identity, bool isUpgraded);
  void giveBack(std::uint64_t generation, std::unique_ptr<Catalogue> catalogue);

  const LibraryFolder folder_;
  const std::chrono::milliseconds busyTimeout_;
  std::mutex mutex_;                  // guards all below
  std::optional<Identity> identity_;  // of the catalogue's file; another one may be put in its place
  bool isUpgraded_ = false;           // by this object, or nothing was to be done
  std::uint64_t generation_ = 0;      // of the connections that may still be used
  std::vector<std::unique_ptr<Catalogue>> idle_;  // all of this generation
};

}  // namespace tolvander::platform::linux_
