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

// A file of the library as it is now, whether it is catalogued or not.
struct FoundOriginal {
  std::string path;  // relative to the library's folder
  std::int64_t byteCount = 0;
  std::string sha256;  // 64 lower-case hexadecimal digits
  Date modified;
};

// Reads and hashes what is in a library's folder. One object for one look at it.
class FoundOriginals {
 public:
  using Progress = std::function<void(const VerificationProgress&)>;

  // The token is looked for at each file and each mebibyte.
  FoundOriginals(const LibraryFolder& folder, CancellationToken token, Progress progress);

  // Every file among the originals once, by path: a file to which links lead as well by its own path. Throws
  // PosixError where a file or folder can't be read or a link leads nowhere: nothing would be known of what
  // is there. Throws PhotosPlatformError of a file that is being written, and CancellationError.
  std::vector<FoundOriginal> originals();

  // Every incoming file that this program has made, by path. Throws as above.
  std::vector<FoundOriginal> incoming();

  // Whether these are all the files that are there now, each of the size and modification date that it had.
  // Reads none. Throws as above.
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
