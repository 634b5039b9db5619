#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// How long a finished change has to last.
enum class Durability {
  survivesPowerLoss,  // written through to the device before the operation returns
  survivesProcess,    // whole for every reader from now on; after a power loss perhaps not there
};

// Creates a folder and the missing ones above it. Does nothing where it exists. Throws PosixError (ENOTDIR
// where a file is in the way).
void createDirectories(const FileURL& directory, Durability durability);

// Replaces one file as a whole: at every moment the target is the whole old file (or none) or the whole new
// one, and never a part, whatever fails and whenever the process dies. The new bytes go to an auxiliary file
// in the same folder, ".<name>.<random>.tmp" (of a very long name its beginning), which then takes the
// target's place. A target that is a symbolic link keeps being one: the file that it leads to is replaced, or
// made where it isn't there. The new file has the old one's permission bits, from before its first byte, and
// a first file those of any new file of the user. A target that is a folder is refused (EISDIR).
//
// One object for one replacement, on one thread at a time. Without commit() nothing has happened and the
// auxiliary file is gone when the object is. All operations throw PosixError.
class AtomicFile {
 public:
  AtomicFile(const FileURL& target, Durability durability);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Appends to the new file.
  void write(std::span<const std::byte> bytes);

  // Puts the new file in the target's place. When it returns, the change is as durable as was asked for. When
  // it throws, the target is what it was before, also where the last step, making the new name durable, is
  // what failed. Two cases of that last step are the exception, and leave the whole new file: a file system
  // that can't exchange two names, and one that refuses to undo the exchange as well (a disk that is gone).
  // Old content that can't be removed afterwards is no error but a leftover.
  void commit();

  // Removes auxiliary files that a process left behind when it died while replacing `target`. Leaves alone
  // what a living process is still writing. Never throws: a leftover does no harm but to take space.
  static void removeLeftovers(const FileURL& target) noexcept;

 private:
  struct Replacement;
  std::unique_ptr<Replacement> replacement_;
};

}  // namespace tolvander
