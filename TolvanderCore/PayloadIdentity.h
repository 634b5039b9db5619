#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Platform/Movie.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander {

// Identifies the content of a track independently of its container: two tracks with equal identities have the
// same samples.
struct PayloadIdentity {
  std::vector<std::uint32_t> codec;  // media sub-types
  std::int64_t sampleCount = 0;
  std::int64_t byteCount = 0;
  SHA256::Digest digest{};  // of the bytes of all samples in their order

  // Reads the whole track. Also calls `receive` with each sample buffer; its exceptions are passed on. Throws
  // CharmeraVideoProcessingError::invalidVideo if the track can't be read, and CancellationError.
  static PayloadIdentity of(const Movie& movie, MediaType type, std::size_t index,
                            const CancellationToken& token = {}, const Movie::SampleReceiver& receive = {});

  friend bool operator==(const PayloadIdentity&, const PayloadIdentity&) = default;
};

}  // namespace tolvander
