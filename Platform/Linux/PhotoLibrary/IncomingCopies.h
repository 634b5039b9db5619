#pragma once

#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"
#include "Platform/Linux/PhotoLibrary/FreeOriginalPaths.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// Removes the copies of an intent that haven't got the final name: the incoming file, and the one that was
// carried to the disk of its folder. Whether none is left as far as can be seen. Needs the library's lock.
bool removeWaitingCopies(const Intent& intent, const LibraryFolder& folder, const OwnedDescriptor& incoming);

// Takes files into the library's folder for incoming files. The catalogue's intents name each copy before it
// is made, so that none is there that nothing names. Needs the library's lock; one object for one change.
class IncomingCopies {
 public:
  IncomingCopies(const LibraryFolder& folder, Catalogue& catalogue);
  // Removes the copies and their intents unless they are kept.
  ~IncomingCopies();
  IncomingCopies(const IncomingCopies&) = delete;
  IncomingCopies& operator=(const IncomingCopies&) = delete;

  // To be called once. All of them or, when it throws, none. The copies and their names are durable when it
  // returns. Throws PosixError, DatabaseError, and PhotosPlatformError where a file hasn't the content that
  // it is said to have. `history` and `album` are those of the intents.
  std::vector<Intent> make(const std::vector<NewOriginal>& originals,
                           const std::optional<std::string>& history,
                           const std::optional<std::string>& album);

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
