#pragma once

#include <chrono>
#include <optional>

#include "Platform/Linux/Files/LockedFile.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// The exclusive lock for changing a library: one object on the machine has it at a time, until the object or
// its process ends. Readers don't need it.
//
// The lock (flock) belongs to the file, not to its name: if the locked file is deleted, the next process
// creates a new one and locks that. So a locked file that lost its name is not accepted, and the holder
// checks the name again (requireHeld) before each step that could destroy another process's work.
class LibraryLock {
 public:
  // Waits at most `busyTimeout` for another holder. Throws PhotosPlatformError if that wasn't enough, and
  // PosixError.
  LibraryLock(const LibraryFolder& folder, std::chrono::milliseconds busyTimeout);

  // Throws PhotosPlatformError if the locked file has lost its name.
  void requireHeld() const;

  // Doesn't wait. Absent if another process has the lock, or on an error.
  static std::optional<LibraryLock> ifFree(const LibraryFolder& folder);

 private:
  LibraryLock(OwnedDescriptor file, FileURL url) : file_(std::move(file)), url_(std::move(url)) {}
  OwnedDescriptor file_;
  FileURL url_;
};

}  // namespace tolvander::platform::linux_
