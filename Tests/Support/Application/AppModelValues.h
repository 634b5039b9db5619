#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderApp/LastSyncReceipt.h"
#include "TolvanderApp/StatusReceipt.h"

// Values of the model, as tests of what it shows want them.
namespace tolvander::tests {

// A check of the camera that found nothing.
inline app::DeviceLibraryReview emptyReview(const FileURL& volumeURL) {
  return {.device = {.volumeURL = volumeURL,
                     .displayName = "CHARMERA",
                     .profile = DeviceProfile::charmera(),
                     .files = {}},
          .review = {}};
}

inline FingerprintedMediaFile anyMediaFile(const FileURL& volumeURL) {
  FingerprintedMediaFile file{.file = {.url = volumeURL.appending("DCIM/A.JPG"),
                                       .volumeURL = volumeURL,
                                       .relativePath = "DCIM/A.JPG",
                                       .filename = "A.JPG",
                                       .byteCount = 1,
                                       .modifiedAt = {}},
                              .sourceFingerprint = "source",
                              .mediaPayloadFingerprint = {},
                              .captureDate = {},
                              .metadata = {},
                              .pendingProcessedFingerprint = {}};
  return file;
}

inline app::LastSyncReceipt syncReceipt(std::string deviceName, std::int64_t count = 0,
                                        std::optional<std::int64_t> videoCount = {}, Date completedAt = {}) {
  return {.count = count,
          .deviceName = std::move(deviceName),
          .completedAt = completedAt,
          .videoCount = videoCount};
}

inline app::StatusReceipt resultOnShow(std::string message, Date completedAt,
                                       std::chrono::duration<double> minimumDisplayDuration) {
  app::StatusReceipt receipt;
  receipt.message = std::move(message);
  receipt.completedAt = completedAt;
  receipt.minimumDisplayDuration = minimumDisplayDuration;
  receipt.id = UUID::random();
  return receipt;
}

}  // namespace tolvander::tests
