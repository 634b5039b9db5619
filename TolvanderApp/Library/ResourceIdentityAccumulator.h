#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander::app {

// Makes the identity of a resource from its bytes as they arrive. Only a JPEG's bytes are kept, for the
// fingerprint of its picture, and no more of them than `maximumPayloadBytes`; the hash has no such limit.
// Safe on every thread.
class ResourceIdentityAccumulator {
 public:
  static constexpr std::size_t maximumPayloadBytes = 33'554'432;  // 32 MiB

  // Whether a resource of this name and size has a payload fingerprint, provided that it is a sound JPEG.
  static bool hasPayload(std::string_view filename, std::int64_t byteCount);
  static bool isJPEG(std::string_view filename);

  explicit ResourceIdentityAccumulator(bool isJPEG);
  ResourceIdentityAccumulator(const ResourceIdentityAccumulator&) = delete;
  ResourceIdentityAccumulator& operator=(const ResourceIdentityAccumulator&) = delete;

  void append(std::span<const std::byte> chunk);

  // The identity of everything appended. The payload fingerprint is absent for what isn't a JPEG by name or
  // by its bytes, and for one that is too large. Called once. Throws CancellationError within 100 ms of a
  // cancellation.
  OfflinePhotoRecognizer::Identity finalize(const CancellationToken& token = {});

 private:
  std::mutex lock_;  // guards all below
  SHA256 value_;
  std::optional<std::vector<std::byte>> payloadData_;
};

}  // namespace tolvander::app
