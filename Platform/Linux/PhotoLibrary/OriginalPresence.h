#pragma once

#include <cstdint>
#include <string>

#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::platform::linux_ {

// Looks whether originals are where the catalogue says. People delete, cut and move their pictures with a
// file manager, so that an asset is in the library only while each of its originals is there.
//
// Links are followed: people move a year to another disk and leave a link. Nothing is read.
class OriginalPresence {
 public:
  enum class State {
    present,   // a regular file of the catalogued size
    notLocal,  // unknown: its path goes through a broken link, or the system call failed
    gone,      // not there, or something else than it was
  };

  explicit OriginalPresence(const LibraryFolder& folder) : folder_(&folder) {}

  // `path` and `byteCount` as they are catalogued. One system call for an original that is present. Throws
  // PhotosPlatformError networkAccessRequired where the folder of originals itself can't be read: then
  // nothing is known of any of them.
  State stateOf(const std::string& path, std::int64_t byteCount);

  // Whether it is a regular file of that size and modification date. Throws as above.
  bool isUnchanged(const std::string& path, std::int64_t byteCount, Date modified);

  // Throws as above. Where pictures are catalogued, a missing folder of originals is not made anew: all of
  // them would count as deleted by the user from then on.
  void requireOriginals();

 private:
  State stateOfUnreachable(const std::string& below) const;

  const LibraryFolder* folder_;
  OwnedDescriptor originals_;
};

}  // namespace tolvander::platform::linux_
