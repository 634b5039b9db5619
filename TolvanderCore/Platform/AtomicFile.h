#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Which failures a finished change survives.
enum class Durability {
  survivesPowerLoss,  // written to the device before the operation returns
  survivesProcess,    // every reader sees the whole change; a power loss may undo it
};

// Creates a folder and its missing parents. Does nothing if it exists. Throws PosixError (ENOTDIR if a file
// has that name).
void createDirectories(const FileURL& directory, Durability durability);

// Replaces one file as a whole: at every moment the target is the complete old file (or missing) or the
// complete new one, whatever fails and whenever the process dies. The new bytes are written to an auxiliary
// file in the same folder, ".<name>.<random>.tmp" (a very long name is cut), which is then renamed to the
// target. If the target is a symbolic link, the file that it leads to is replaced, or created if missing. The
// auxiliary file has the old file's permission bits before its first byte is written; if there was no old
// file, it has the user's default ones. A folder as target is refused (EISDIR).
//
// One object makes one replacement. One thread at a time. Without commit() the target is unchanged, and the
// destructor removes the auxiliary file. All operations throw PosixError.
class AtomicFile {
 public:
  AtomicFile(const FileURL& target, Durability durability);
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  // Appends to the new file.
  void write(std::span<const std::byte> bytes);

  // Replaces the target. When it returns, the change has the requested durability. When it throws, the target
  // is unchanged, also if the last step failed, which makes the new name durable. There are two exceptions,
  // in which the complete new file is left after a failure of that step: the file system can't exchange two
  // names, or it also refuses to undo the exchange (a disk that is gone). Old content that can't be removed
  // afterwards is no error; it is left over.
  void commit();

  // Removes auxiliary files of processes that died while they replaced `target`, and none that a living
  // process is still writing. Never throws: a file that is left over only takes space.
  static void removeLeftovers(const FileURL& target) noexcept;

 private:
  struct Replacement;
  std::unique_ptr<Replacement> replacement_;
};

}  // namespace tolvander
