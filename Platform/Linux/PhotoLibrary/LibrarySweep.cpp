#include "Platform/Linux/PhotoLibrary/LibrarySweep.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <memory>
#include <string>

#include "Platform/Linux/PhotoLibrary/PlacedFile.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

struct ClosingFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// False where it may still be there. The removal is durable, because the placement is forgotten afterwards.
bool removeFileOf(const Placement& placement, const LibraryFolder& library) {
  try {
    const Descriptor folder = library.openFolder(folderOf(placement.path));
    const std::string name(nameIn(placement.path));
    if (isFileOf(placement, folder, name)) {
      if (unlinkat(folder.number(), name.c_str(), 0) != 0) {
        return false;
      }
      makeDurable(folder, library.url().appending(placement.path));
    }
    return true;
  } catch (const PosixError& error) {
    return error.code() == ENOENT;  // the folder was never made
  }
}

void sweepPlacements(const LibraryFolder& folder, Catalogue& catalogue) {
  const std::vector<Placement> placements = catalogue.placements();
  if (placements.empty()) {
    return;
  }
  // If the commit of the change that made them is what failed, it must not come back once they are gone.
  catalogue.settle();
  std::vector<std::string> done;
  for (const Placement& placement : placements) {
    if (catalogue.hasPath(placement.path) || removeFileOf(placement, folder)) {
      done.push_back(placement.path);
    }
  }
  Transaction transaction = catalogue.change();
  for (const std::string& path : done) {
    catalogue.removePlacement(path);
  }
  transaction.commit();
}

void sweepIncoming(const LibraryFolder& library) {
  Descriptor descriptor = library.openFolder(LibraryFolder::incoming);
  const std::unique_ptr<DIR, ClosingFolder> folder(fdopendir(descriptor.number()));
  if (!folder) {
    return;
  }
  descriptor.release();  // the stream closes it
  while (const dirent* entry = readdir(folder.get())) {
    if (isIncomingName(entry->d_name)) {
      unlinkat(dirfd(folder.get()), entry->d_name, 0);
    }
  }
}

}  // namespace

void sweepLeftovers(const LibraryFolder& folder, Catalogue& catalogue) noexcept {
  try {
    sweepPlacements(folder, catalogue);
    sweepIncoming(folder);
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace tolvander::platform::linux_
