#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// Connections to one library's catalogue, so that several threads read at once and statements stay compiled.
// Safe on every thread.
//
// A catalogue that is opened for the first time, or that has been put in the place of another one, is
// upgraded if it has to be, and what a crash left in the library is swept unless another process is writing.
class CataloguePool {
 public:
  CataloguePool(LibraryFolder folder, std::chrono::milliseconds patience);

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
    using Identity = std::pair<dev_t, ino_t>;
    Lease(CataloguePool& pool, Identity identity, std::unique_ptr<Catalogue> catalogue)
        : pool_(&pool), identity_(identity), catalogue_(std::move(catalogue)) {}
    CataloguePool* pool_;
    Identity identity_;
    std::unique_ptr<Catalogue> catalogue_;
  };

  // Throws PhotosPlatformError, DatabaseError and PosixError.
  Lease take();

 private:
  using Identity = Lease::Identity;

  Identity identityOfFile() const;
  void prepare();
  void giveBack(Identity identity, std::unique_ptr<Catalogue> catalogue);

  const LibraryFolder folder_;
  const std::chrono::milliseconds patience_;
  std::mutex mutex_;
  std::optional<Identity> prepared_;
  std::vector<std::unique_ptr<Catalogue>> idle_;  // all of the prepared catalogue
};

}  // namespace tolvander::platform::linux_
