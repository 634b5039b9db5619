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

// Answers requests for the bytes of originals, one at a time, on one thread. Safe on every thread, but a
// handler must not destroy it. Destroying it cancels the open requests.
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

  // Throws PhotosPlatformError if the library doesn't have the original.
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
  SerialQueue queue_;                                       // declared last: its jobs use the others
};

}  // namespace tolvander::platform::linux_
