#pragma once

#include <cstdint>
#include <string>

#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::platform::linux_ {

// Checks whether originals are where the catalogue says. Users delete, crop and move their pictures with
// file managers, so an asset is in the library only while each of its originals exists.
//
// Follows links, because users move a year to another disk and leave a link. Reads no content.
class OriginalPresence {
 public:
  enum class State {
    present,   // a regular file of the catalogued size
    notLocal,  // unknown: its path goes through a broken link, or the system call failed
    gone,      // missing, or not a regular file of that size
  };

  explicit OriginalPresence(const LibraryFolder& folder) : folder_(&folder) {}

  // `path` and `byteCount` as in the catalogue. One system call for an original that is present. Throws
  // PhotosPlatformError networkAccessRequired if the folder of originals itself can't be read: then the
  // state of all originals is unknown.
  State stateOf(const std::string& path, std::int64_t byteCount);

  // Whether it is a regular file of that size and modification date. Throws as above.
  bool isUnchanged(const std::string& path, std::int64_t byteCount, Date modified);

  // Throws if the folder of originals is missing or can't be read. Called where pictures are catalogued,
  // before the folder would be created: all of them would then count as deleted by the user.
  void requireOriginals();

 private:
  State stateOfUnreachable(const std::string& below) const;

  const LibraryFolder* folder_;
  OwnedDescriptor originals_;
};

}  // namespace tolvander::platform::linux_
