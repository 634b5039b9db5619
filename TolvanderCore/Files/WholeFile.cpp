#include "TolvanderCore/Files/WholeFile.h"

#include <memory>

#include "TolvanderCore/MediaStagingError.h"

namespace tolvander {

namespace {

// Bytes per read. Measured as the time of reading and hashing divided by that of hashing alone:
// A file of 1 GiB: 1.12 to 1.18 at every size from 64 KiB to 1 MiB (the copy from the page cache).
// A photo of 900 kB: 1.17 with 256 KiB and 1.49 with 1 MiB in newly allocated pages, 1.05 and 1.06 in pages
// that the heap reuses. Zeroing 1 MiB first would make a small file take five times as long.
constexpr std::size_t partSize = 262'144;

}  // namespace

WholeFile::WholeFile(const FileURL& url) : reader_(url), byteCount_(reader_.size()) {}

void WholeFile::forEachPart(const PartHandler& handle, const CancellationToken& token) {
  const std::unique_ptr<std::byte[]> memory(new std::byte[partSize]);
  const std::span buffer(memory.get(), partSize);
  std::uint64_t total = 0;
  while (const std::size_t count = reader_.read(buffer)) {
    token.throwIfCancelled();
    total += count;
    if (total > byteCount_) {
      throw MediaStagingError::sourceChanged();
    }
    handle(buffer.first(count));
  }
  if (total != byteCount_) {
    throw MediaStagingError::sourceChanged();
  }
}

std::vector<std::byte> WholeFile::contents(const CancellationToken& token) {
  std::vector<std::byte> bytes;
  bytes.reserve(static_cast<std::size_t>(byteCount_));
  forEachPart([&](std::span<const std::byte> part) { bytes.insert(bytes.end(), part.begin(), part.end()); },
              token);
  return bytes;
}

}  // namespace tolvander
