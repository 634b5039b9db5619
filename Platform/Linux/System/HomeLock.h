#pragma once

#include <optional>

#include "TolvanderApp/Platform/HomeInUseError.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/StandardDirectories.h"

namespace tolvander::platform::linux_ {

// The exclusive lock for changing the files of one home. One process has it at a time, until the object or
// the process ends. The lock file stays, with the process and the command that had the lock last: "4711
// tolvanderctl" and a line feed.
//
// A lock of the open file description (F_OFD_SETLK, fcntl(2)), because it can be queried without being
// taken: a query never makes another process fail to get it.
class HomeLock {
 public:
  // The lock file of the user's home, beside the history; absent if the user has no home.
  static std::optional<FileURL> standardFile(const StandardDirectories& directories);

  // Creates the file and missing folders above it. Doesn't wait. Throws HomeInUseError if another process
  // has the lock, and PosixError.
  explicit HomeLock(const FileURL& file);

  // Checks that this process still holds the lock. If the lock file was deleted or replaced, locks the file
  // that has the name now. To be called before a file of the home is changed, by one thread at a time.
  // Throws as the constructor does.
  void require();

  // The process that has the lock; absent if none has, or on an error. Doesn't throw.
  static std::optional<app::HomeHolder> holder(const FileURL& file);

 private:
  FileURL url_;
  OwnedDescriptor file_;
};

}  // namespace tolvander::platform::linux_
