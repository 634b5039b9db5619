#pragma once

#include <optional>

#include "TolvanderApp/Platform/HomeInUseError.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/StandardDirectories.h"

namespace tolvander::platform::linux_ {

// The right to change the files of one home, which one process has at a time. It ends with the object, and
// with the process however that ends. The file stays, and holds the process and the command that had the
// right last: "4711 tolvanderctl" and a line end.
//
// A lock of the open file description (F_OFD_SETLK, fcntl(2)), since that can be looked at without being
// taken: who asks is never in the way of one that starts.
class HomeLock {
 public:
  // The lock of a home, beside the history; absent where the user has no home.
  static std::optional<FileURL> standardFile(const StandardDirectories& directories);

  // Makes the file and the folders above it where they are missing. Doesn't wait. Throws HomeInUseError where
  // another process has the right, and PosixError.
  explicit HomeLock(const FileURL& file);

  // Checks that this process still holds the lock. If the lock file was deleted or replaced, the file that
  // has the name now is locked instead. To be called before a file of the home is changed, by one thread at a
  // time. Throws as the constructor does.
  void require();

  // Who has the right now; absent where nobody has, or it can't be told. Throws nothing.
  static std::optional<app::HomeHolder> holder(const FileURL& file);

 private:
  FileURL url_;
  OwnedDescriptor file_;
};

}  // namespace tolvander::platform::linux_
