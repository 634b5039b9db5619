#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander {

// Fingerprints decide whether a file has been imported; names and dates never do. A fingerprint is the
// SHA-256 of bytes as 64 lower-case hexadecimal digits, compared as plain text. Stateless and safe on every
// thread.
class FileFingerprinter {
 public:
  FileFingerprinter() = delete;

  // Of bytes in memory. Throws CancellationError, looked for before every mebibyte.
  static std::string sha256(std::span<const std::byte> bytes, const CancellationToken& token = {});

  // Of a whole file, in memory of one chunk (WholeFile's part) whatever its size. Blocks. Throws PosixError
  // where the file can't be opened or read, MediaStagingError::sourceChanged where it hasn't as many bytes as
  // it said when it was opened, and CancellationError, looked for after each chunk.
  static std::string sha256(const FileURL& url, const CancellationToken& token = {});

  // The same of a file that is open and has not been read.
  static std::string sha256(WholeFile& file, const CancellationToken& token = {});

  static std::string text(const SHA256::Digest& digest);
};

}  // namespace tolvander
