#include "Platform/Linux/PhotoLibrary/DataRequests.h"

#include <limits>
#include <utility>
#include <vector>

#include "Platform/Linux/PhotoLibrary/LibraryErrors.h"
#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"
#include "TolvanderCore/Files/DescriptorIO.h"

namespace tolvander::platform::linux_ {

using app::PhotoLibrary;
using app::PhotosAssetResource;
using app::PhotosPlatformError;

DataRequests::DataRequests(LibraryFolder folder, CataloguePool& catalogues)
    : folder_(std::move(folder)), catalogues_(&catalogues) {}

DataRequests::~DataRequests() {
  const std::lock_guard lock(mutex_);
  for (const auto& [request, isCancelled] : cancelled_) {
    *isCancelled = true;
  }
}

PhotoLibrary::RequestID DataRequests::add(const PhotosAssetResource& resource,
                                          PhotoLibrary::DataHandler dataReceived,
                                          PhotoLibrary::DataCompletion completion) {
  const auto isCancelled = std::make_shared<std::atomic<bool>>(false);
  PhotoLibrary::RequestID request = 0;
  {
    const std::lock_guard lock(mutex_);
    lastRequest_ = lastRequest_ == std::numeric_limits<PhotoLibrary::RequestID>::max() ? 1 : lastRequest_ + 1;
    request = lastRequest_;
    cancelled_[request] = isCancelled;
  }
  queue_.post([this, request, resource, isCancelled, dataReceived = std::move(dataReceived),
               completion = std::move(completion)] {
    std::exception_ptr error = answer(resource, *isCancelled, dataReceived);
    forget(request);
    completion(std::move(error));
  });
  return request;
}

void DataRequests::cancel(PhotoLibrary::RequestID request) {
  const std::lock_guard lock(mutex_);
  const auto open = cancelled_.find(request);
  if (open != cancelled_.end()) {
    *open->second = true;
  }
}

void DataRequests::forget(PhotoLibrary::RequestID request) {
  const std::lock_guard lock(mutex_);
  cancelled_.erase(request);
}

std::exception_ptr DataRequests::answer(const PhotosAssetResource& resource,
                                        const std::atomic<bool>& isCancelled,
                                        const PhotoLibrary::DataHandler& dataReceived) {
  std::exception_ptr error;
  try {
    stream(resource, isCancelled, dataReceived);
  } catch (...) {
    error = std::current_exception();
  }
  return originalError(error);
}

std::string DataRequests::pathOf(const PhotosAssetResource& resource) {
  const auto catalogued = withLibraryErrors(
      [&] { return catalogues_->take()->resource(resource.assetLocalIdentifier, resource.index); });
  if (!catalogued || OriginalPresence(folder_).stateOf(catalogued->path, catalogued->byteCount) ==
                         OriginalPresence::State::gone) {
    throw PhotosPlatformError(PhotosPlatformError::Case::identifierNotFound,
                              "the original is not in the library");
  }
  return catalogued->path;
}

void DataRequests::stream(const PhotosAssetResource& resource, const std::atomic<bool>& isCancelled,
                          const PhotoLibrary::DataHandler& dataReceived) {
  const auto throwIfCancelled = [&] {
    if (isCancelled) {
      throw PhotosPlatformError(PhotosPlatformError::Case::userCancelled, "the request was cancelled");
    }
  };
  throwIfCancelled();
  const std::string path = pathOf(resource);
  const OwnedDescriptor file = folder_.openFile(path, LibraryFolder::Links::followed);
  std::vector<std::byte> buffer(chunkSize);
  while (const std::size_t size = readFully(file, buffer, folder_.url().appending(path))) {
    throwIfCancelled();
    dataReceived({buffer.data(), size});
  }
  throwIfCancelled();
}

}  // namespace tolvander::platform::linux_
