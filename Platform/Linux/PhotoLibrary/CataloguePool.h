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

// Connections to the catalogue of one library, so that several threads can read at once and compiled
// statements are reused. Safe on every thread.
//
// Reading doesn't upgrade an older catalogue; that happens when the library is first changed. An empty
// catalogue, left by an interrupted creation, is created again. A catalogue without assets is refused if the
// folder contains pictures (LostCatalogue.h).
class CataloguePool {
 public:
  CataloguePool(LibraryFolder folder, std::chrono::milliseconds busyTimeout);

  // A borrowed connection, returned to the pool at the end of the lease.
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

  // For reading. Throws PhotosPlatformError, DatabaseError and PosixError.
  Lease take();

  // For reading and writing while the lock is held. Upgrades the catalogue if necessary. Throws as above.
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
  std::mutex mutex_;                              // guards all below
  std::optional<Identity> identity_;              // of the catalogue's file, to notice when it is replaced
  bool isUpgraded_ = false;                       // known to have the newest version
  std::uint64_t generation_ = 0;                  // connections of earlier generations are discarded
  std::vector<std::unique_ptr<Catalogue>> idle_;  // all of this generation
};

}  // namespace tolvander::platform::linux_
