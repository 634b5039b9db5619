#include "TolvanderCore/NewFile.h"

#include <algorithm>

#include "TolvanderCore/FileOperations.h"
#include "TolvanderCore/FileWriter.h"

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
  file.close();
}

}  // namespace

void writeNewFile(const FileURL& url, std::span<const std::byte> bytes, const CancellationToken& token) {
  FileWriter file(url);
  try {
    writeInChunks(file, bytes, token);
  } catch (...) {
    removeItemIgnoringErrors(url);
    throw;
  }
}

}  // namespace tolvander
