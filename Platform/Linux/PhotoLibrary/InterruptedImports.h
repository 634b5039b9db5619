#pragma once

#include <set>
#include <string>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"

namespace tolvander::platform::linux_ {

// Completes or drops the imports that one history prepared. One object for one call.
class InterruptedImports {
 public:
  InterruptedImports(const LibraryFolder& folder, Catalogue& catalogue)
      : folder_(&folder), catalogue_(&catalogue) {}

  // Makes an original of each file that the history has marked or recorded, after comparing its content. The
  // file is searched for under its incoming name and its final name. If an original has the same content
  // already, the file is dropped.
  //
  // A file that the history hasn't marked is dropped too. But if the intent was marked, the file was about
  // to get its final name, and this is an older state of the history: then the file stays. Only files with
  // incoming names are dropped, never one with its final name. Everything else is left alone.
  //
  // What can't be completed now is left for the next call. Throws PosixError, DatabaseError, and
  // PhotosPlatformError if the library's lock is no longer held.
  void complete(const app::PhotosInterruptedImports& imports, const LibraryLock& lock);

  // The marked fingerprints that an original has, or would have after `complete`. Changes nothing and needs
  // no lock. Throws DatabaseError.
  std::set<std::string> completable(const app::PhotosInterruptedImports& imports);

  // Whether that history prepared the intent.
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
