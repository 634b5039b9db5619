#pragma once

#include <chrono>
#include <optional>

#include "Platform/Linux/Files/LockedFile.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// The right to change a library, which one object on the machine has at a time. It ends with the object, and
// with the process. Readers don't need it.
//
// A lock belongs to the file and not to its name: if the locked file is deleted, the next process makes a new
// one and locks that. So a file that has lost its name is not accepted, and the holder checks the name again
// (requireHeld) before each step that could destroy the other process's work.
class LibraryLock {
 public:
  // Waits for at most `busyTimeout`. Throws PhotosPlatformError when another one had it all that time, and
  // PosixError.
  LibraryLock(const LibraryFolder& folder, std::chrono::milliseconds busyTimeout);

  // Throws PhotosPlatformError when the locked file no longer has its name.
  void requireHeld() const;

  // Without waiting; absent where another one has it or it can't be had.
  static std::optional<LibraryLock> ifFree(const LibraryFolder& folder);

 private:
  LibraryLock(OwnedDescriptor file, FileURL url) : file_(std::move(file)), url_(std::move(url)) {}
  OwnedDescriptor file_;
  FileURL url_;
};

}  // namespace tolvander::platform::linux_
