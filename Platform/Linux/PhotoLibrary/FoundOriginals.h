#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryListing.h"
#include "Platform/Linux/PhotoLibrary/OriginalFiles.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// A file in the library's folder, catalogued or not.
struct FoundOriginal {
  std::string path;  // relative to the library's folder
  std::int64_t byteCount = 0;
  std::string sha256;  // 64 lower-case hexadecimal digits
  Date modified;
};

// Reads and hashes the files in a library's folder. One object for one pass.
class FoundOriginals {
 public:
  using Progress = std::function<void(const VerificationProgress&)>;

  // The token is checked at each file and each mebibyte.
  FoundOriginals(const LibraryFolder& folder, CancellationToken token, Progress progress);

  // Every file among the originals once, sorted by path; a file that links point to as well has its own
  // path. Throws PosixError if a file or folder can't be read or a link is broken, because then it is
  // unknown what is there. Throws PhotosPlatformError for a file that changes while it is read, and
  // CancellationError.
  std::vector<FoundOriginal> originals();

  // Every incoming file of this program, sorted by path. Throws as above.
  std::vector<FoundOriginal> incoming();

  // Whether exactly these files exist now, with the same sizes and modification dates. Reads no content.
  // Throws as above.
  bool areUnchanged(const std::vector<FoundOriginal>& originals,
                    const std::vector<FoundOriginal>& incoming) const;

 private:
  std::vector<std::string> pathsOfOriginals() const;
  std::vector<std::string> pathsOfIncoming() const;
  bool isUnchanged(const FoundOriginal& file, LibraryFolder::Links links) const;
  FoundOriginal read(const std::string& path, LibraryFolder::Links links);

  const LibraryFolder* folder_;
  CancellationToken token_;
  Progress progress_;
  VerificationProgress soFar_;
};

}  // namespace tolvander::platform::linux_
