#include "Platform/Linux/PhotoLibrary/OriginalContent.h"

#include <unistd.h>

#include <cerrno>
#include <memory>

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander::platform::linux_ {

void forEachChunk(const OwnedDescriptor& file, const FileURL& url, const ChunkHandler& handle) {
  constexpr std::size_t bufferSize = std::size_t{1} << 20U;
  const std::unique_ptr<std::byte[]> buffer(new std::byte[bufferSize]);
  while (true) {
    const ssize_t count = retryOnEINTR([&] { return read(file.number(), buffer.get(), bufferSize); });
    if (count < 0) {
      throw PosixError(errno, "read", url);
    }
    if (count == 0) {
      return;
    }
    handle({buffer.get(), static_cast<std::size_t>(count)});
  }
}

std::string sha256Of(const OwnedDescriptor& file, const FileURL& url, const CancellationToken& token,
                     const ChunkHandler& handle) {
  SHA256 hash;
  forEachChunk(file, url, [&](std::span<const std::byte> chunk) {
    token.throwIfCancelled();
    hash.update(chunk);
    handle(chunk);
  });
  return FileFingerprinter::text(hash.finish());
}

}  // namespace tolvander::platform::linux_
