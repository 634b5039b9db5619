#pragma once

#include <set>
#include <string>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"

namespace tolvander::platform::linux_ {

// What the imports of one history have left prepared. One object for one call of the history.
class InterruptedImports {
 public:
  InterruptedImports(const LibraryFolder& folder, Catalogue& catalogue)
      : folder_(&folder), catalogue_(&catalogue) {}

  // Each file that the history has marked or recorded becomes an original, after its content was compared.
  // It is looked for where it waits, and under the name that it was to get. One whose content an original has
  // already is dropped.
  //
  // A file that the history hasn't marked is dropped, unless it was to get its name already: it was marked
  // then, so that this is an older state of the history. Dropped are only files that wait, and never one that
  // has its name. Everything else is left.
  //
  // What can't be completed now is left for the next time. Throws PosixError, DatabaseError, and
  // PhotosPlatformError where the library's lock is no longer held.
  void complete(const app::PhotosInterruptedImports& imports, const LibraryLock& lock);

  // Those of the marked fingerprints that an original has, or that `complete` would make one of. Changes
  // nothing and needs no lock. Throws DatabaseError.
  std::set<std::string> completable(const app::PhotosInterruptedImports& imports);

  // Whether an intent is one of that history.
  static bool isOf(const UUID& history, const Intent& intent);

 private:
  void completeOne(Intent intent);
  bool waits(const Intent& intent) const;
  bool hasItsName(const Intent& intent) const;
  bool isHeld(const std::string& sha256);
  bool holds(const std::string& path, LibraryFolder::Links links, const std::string& sha256) const;
  void makeNameDurable(const Intent& intent) const;
  void catalogue(const Intent& intent);
  void drop(const Intent& intent);

  const LibraryFolder* folder_;
  Catalogue* catalogue_;
};

}  // namespace tolvander::platform::linux_
