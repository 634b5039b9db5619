#include "TolvanderCore/Files/NewFile.h"

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Files/FileWriter.h"
#include "TolvanderCore/Files/Pieces.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/MediaStagingError.h"

namespace tolvander {

namespace {

// Creates a file and calls `write` to fill it. Removes the file if that fails.
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
  makeNewFile(url, [&](FileWriter& file) {
    forEachPiece(bytes, token, [&](std::span<const std::byte> piece) { file.write(piece); });
  });
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
