#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "Platform/Linux/PhotoLibrary/CatalogueContents.h"
#include "Platform/Linux/PhotoLibrary/DatabaseFile.h"
#include "Platform/Linux/PhotoLibrary/FoundOriginals.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Platform/Linux/PhotoLibrary/RebuiltContents.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::platform::linux_ {

// What a new catalogue would have.
struct RebuildPlan {
  bool isNeeded = false;  // the catalogue that is there differs, is damaged, or is missing
  std::int64_t items = 0;
  RebuildCounts counts;
  std::optional<FileURL> source;  // the earlier catalogue whose identities, dates and albums are kept
};

// Makes the catalogue of a library anew from its files, from what a history knows of them, and from the best
// earlier catalogue: the one that is there if it can be read, else the newest among its backups and those
// that rebuilds have set aside.
//
// The new catalogue is made in a separate file, which then takes the place of the old one; the old one
// keeps another name. A process that is killed leaves the old one, the new one, or none, which counts as a
// catalogue that is missing and is made anew by the next rebuild. Pictures are never changed.
//
// Has the library's lock while it exists. One object for one rebuild, on one thread at a time.
class LibraryRebuild {
 public:
  // Throws PhotosPlatformError where another process is changing the library, where its pictures are not
  // here, and where its catalogue is of a newer version; and PosixError.
  LibraryRebuild(const FileURL& folder, KnownImports imports, std::chrono::milliseconds busyTimeout);

  // Reads every file and changes nothing. Throws what FoundOriginals throws, and PhotosPlatformError where
  // the catalogue names pictures and none is there: then the disk with them is missing.
  RebuildPlan plan(const CancellationToken& token, const FoundOriginals::Progress& progress);

  // After a plan. Puts the new catalogue in place. Returns where the old one is now, if there was one. `now`
  // is for its name. Durable when it returns. Throws DatabaseError, PosixError and PhotosPlatformError, and
  // has then left the old one in its place, unless that fails as well.
  std::optional<FileURL> carryOut(Date now);

 private:
  void readFormerCatalogue();
  bool isCatalogueAsPlanned() const;
  void makeNewCatalogue() const;
  std::optional<FileURL> putInPlace(const DatabaseFile& made, Date now) const;
  void setOldCatalogueAside(const FileURL& aside) const;
  void putOldCatalogueBack(const FileURL& aside) const noexcept;

  const LibraryFolder folder_;
  const KnownImports imports_;
  const std::chrono::milliseconds busyTimeout_;
  const LibraryLock lock_;
  CatalogueContents former_;
  std::optional<FileURL> source_;
  CatalogueContents planned_;
};

}  // namespace tolvander::platform::linux_
