#include "TolvanderCore/Files/NewFile.h"

#include <algorithm>

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Files/FileWriter.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/MediaStagingError.h"

namespace tolvander {

namespace {

constexpr std::size_t chunkSize = 1'048'576;

void writeInChunks(FileWriter& file, std::span<const std::byte> bytes, const CancellationToken& token) {
  while (!bytes.empty()) {
    token.throwIfCancelled();
    const auto chunk = bytes.first(std::min(bytes.size(), chunkSize));
    file.write(chunk);
    bytes = bytes.subspan(chunk.size());
  }
}

// Makes a file of what `write` puts into it, or none.
template <typename Write>
void makeNewFile(const FileURL& url, const Write& write) {
  FileWriter file(url);
  try {
    write(file);
    file.close();
  } catch (...) {
    removeItemIgnoringErrors(url);
    throw;
  }
}

}  // namespace

void writeNewFile(const FileURL& url, std::span<const std::byte> bytes, const CancellationToken& token) {
  makeNewFile(url, [&](FileWriter& file) { writeInChunks(file, bytes, token); });
}

void copyToNewFile(const FileURL& source, const FileURL& url, std::string_view expectedFingerprint,
                   const CancellationToken& token) {
  WholeFile original(source);
  makeNewFile(url, [&](FileWriter& file) {
    requireFreeSpace(url.deletingLastPathComponent(), original.byteCount());
    SHA256 hash;
    const auto take = [&](std::span<const std::byte> part) {
      hash.update(part);
      file.write(part);
    };
    original.forEachPart(take, token);
    if (FileFingerprinter::text(hash.finish()) != expectedFingerprint) {
      throw MediaStagingError::sourceChanged();
    }
  });
}

}  // namespace tolvander
