#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>

#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander {

// SHA-256 (RFC 6234, FIPS 180-4). One object per hash in progress; not to be shared between threads.
class SHA256 {
 public:
  using Digest = std::array<std::byte, 32>;

  SHA256();
  ~SHA256();
  SHA256(SHA256&&) noexcept;
  SHA256& operator=(SHA256&&) noexcept;

  // Throws CancellationError, checked before every mebibyte; the object must then not be used any more.
  void update(std::span<const std::byte> bytes, const CancellationToken& token = {});

  // The digest of all bytes so far. The next update begins a new hash.
  Digest finish();

  // The digest of bytes in memory.
  static Digest hash(std::span<const std::byte> bytes);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

}  // namespace tolvander
