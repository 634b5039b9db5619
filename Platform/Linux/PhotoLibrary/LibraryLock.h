#pragma once

#include <chrono>
#include <optional>

#include "Platform/Linux/Descriptor.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

namespace tolvander::platform::linux_ {

// The right to change a library, which one object on the machine has at a time. It ends with the object, and
// with the process. Readers don't need it.
class LibraryLock {
 public:
  // Waits for at most `patience`. Throws PhotosPlatformError when another one had it all that time, and
  // PosixError.
  LibraryLock(const LibraryFolder& folder, std::chrono::milliseconds patience);

  // Without waiting; absent where another one has it or it can't be had.
  static std::optional<LibraryLock> ifFree(const LibraryFolder& folder);

 private:
  explicit LibraryLock(Descriptor file) : file_(std::move(file)) {}
  Descriptor file_;
};

}  // namespace tolvander::platform::linux_
