#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander {

// Fingerprints, not names or dates, decide whether a file was imported before. A fingerprint is the SHA-256
// (RFC 6234) of bytes as 64 lower-case hexadecimal digits, compared as text. Stateless; safe on every thread.
class FileFingerprinter {
 public:
  FileFingerprinter() = delete;

  // Of bytes in memory. Throws CancellationError, checked before every mebibyte.
  static std::string sha256(std::span<const std::byte> bytes, const CancellationToken& token = {});

  // Of a whole file; a file of any size needs the memory of one part of WholeFile. Blocks. Throws PosixError
  // if the file can't be opened or read, MediaStagingError::sourceChanged if its size changed after it was
  // opened, and CancellationError, checked before each part.
  static std::string sha256(const FileURL& url, const CancellationToken& token = {});

  // Of an open file that has not been read yet. Throws as above.
  static std::string sha256(WholeFile& file, const CancellationToken& token = {});

  // A digest as 64 lower-case hexadecimal digits.
  static std::string text(const SHA256::Digest& digest);
};

}  // namespace tolvander
