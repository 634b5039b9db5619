#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/Linux/PhotoLibrary/CataloguePool.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Concurrency/SerialQueue.h"

namespace tolvander::platform::linux_ {

// The requests for the bytes of originals, answered one after the other on a thread of their own. Safe on
// every thread, but not to be destroyed by a handler; those still open then end as cancelled.
class DataRequests {
 public:
  static constexpr std::size_t chunkSize = std::size_t{256} << 10U;

  DataRequests(LibraryFolder folder, CataloguePool& catalogues);
  ~DataRequests();
  DataRequests(const DataRequests&) = delete;
  DataRequests& operator=(const DataRequests&) = delete;

  app::PhotoLibrary::RequestID add(const app::PhotosAssetResource& resource,
                                   app::PhotoLibrary::DataHandler dataReceived,
                                   app::PhotoLibrary::DataCompletion completion);
  void cancel(app::PhotoLibrary::RequestID request);

 private:
  using Flag = std::shared_ptr<std::atomic<bool>>;

  // Throws PhotosPlatformError where the library doesn't have the original.
  std::string pathOf(const app::PhotosAssetResource& resource);
  void stream(const app::PhotosAssetResource& resource, const std::atomic<bool>& isCancelled,
              const app::PhotoLibrary::DataHandler& dataReceived);
  std::exception_ptr answer(const app::PhotosAssetResource& resource, const std::atomic<bool>& isCancelled,
                            const app::PhotoLibrary::DataHandler& dataReceived);
  void forget(app::PhotoLibrary::RequestID request);

  const LibraryFolder folder_;
  CataloguePool* const catalogues_;
  std::mutex mutex_;
  app::PhotoLibrary::RequestID lastRequest_ = 0;
  std::map<app::PhotoLibrary::RequestID, Flag> cancelled_;  // of the requests that are open
  SerialQueue queue_;                                       // last, because its jobs need the others
};

}  // namespace tolvander::platform::linux_
