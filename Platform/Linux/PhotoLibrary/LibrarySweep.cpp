#include "Platform/Linux/PhotoLibrary/LibrarySweep.h"

#include <sys/stat.h>

#include <exception>
#include <string>
#include <vector>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/PhotoLibrary/IncomingCopies.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"

namespace tolvander::platform::linux_ {

namespace {

// Whether all files of the change are removed.
bool sweep(const Intent& intent, const LibraryFolder& folder, const OwnedDescriptor& incoming,
           Catalogue& catalogue) {
  if (!removeWaitingCopies(intent, folder, incoming)) {
    return false;
  }
  struct stat status {};
  return catalogue.hasPath(intent.original.path) ||
         lstat(folder.url().appending(intent.original.path).path().c_str(), &status) != 0;
}

}  // namespace

void sweepLeftovers(const LibraryFolder& folder, Catalogue& catalogue) noexcept {
  try {
    std::vector<Intent> intents = catalogue.intents();
    std::erase_if(intents, [](const Intent& intent) {
      return intent.history || !isIncomingName(intent.temporaryName) || !isOriginalPath(intent.original.path);
    });
    if (intents.empty()) {
      return;
    }
    const OwnedDescriptor incoming =
        folder.openFolder(LibraryFolder::incoming, LibraryFolder::Links::refused);
    std::erase_if(intents, [&](const Intent& intent) { return !sweep(intent, folder, incoming, catalogue); });
    makeDurable(incoming, folder.url().appending(LibraryFolder::incoming));
    Transaction transaction = catalogue.change();
    for (const Intent& intent : intents) {
      catalogue.removeIntent(intent.asset.localIdentifier);
    }
    transaction.commit();
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace tolvander::platform::linux_
