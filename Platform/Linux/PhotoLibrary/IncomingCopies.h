#pragma once

#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"
#include "Platform/Linux/PhotoLibrary/FreeOriginalPaths.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// Removes the copies of an intent that don't have the final name: the incoming file, and its copy on the
// file system of the final folder (carriedName). Returns whether none is left. Needs the library's lock.
bool removeWaitingCopies(const Intent& intent, const LibraryFolder& folder, const OwnedDescriptor& incoming);

// Copies files to the library's folder for incoming files. An intent in the catalogue names each copy before
// it is created, so that after a crash every copy is known. Needs the library's lock. One object for one
// change.
class IncomingCopies {
 public:
  IncomingCopies(const LibraryFolder& folder, Catalogue& catalogue);
  // Unless committed, removes the copies and their intents.
  ~IncomingCopies();
  IncomingCopies(const IncomingCopies&) = delete;
  IncomingCopies& operator=(const IncomingCopies&) = delete;

  // To be called once. Copies all of the files or, if it throws, none. Copies and names are durable when it
  // returns. `history` and `album` are stored in the intents. Throws PosixError, DatabaseError, and
  // PhotosPlatformError if a file doesn't have the expected content.
  std::vector<Intent> make(const std::vector<NewOriginal>& originals,
                           const std::optional<std::string>& history,
                           const std::optional<std::string>& album);

  // Makes the destructor leave the copies and intents.
  void commit() { isCommitted_ = true; }

 private:
  Intent intentFor(const NewOriginal& original);
  void recordIntents();
  void copyAll(const std::vector<NewOriginal>& originals, const OwnedDescriptor& incoming);
  void discard();

  const LibraryFolder* folder_;
  Catalogue* catalogue_;
  const TimeZone zone_;
  FreeOriginalPaths paths_;
  std::vector<Intent> intents_;
  bool isCommitted_ = false;
};

}  // namespace tolvander::platform::linux_
