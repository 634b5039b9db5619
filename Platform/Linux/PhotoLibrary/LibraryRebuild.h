#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "Platform/Linux/PhotoLibrary/CatalogueContents.h"
#include "Platform/Linux/PhotoLibrary/DatabaseFile.h"
#include "Platform/Linux/PhotoLibrary/FoundOriginals.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
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
// earlier catalogue. That is the one that names most of the files, among the one that is there, its backups
// and those that rebuilds have set aside; of several the one that is there, or else the newest. A catalogue
// doesn't lose a picture whose file is there, so that one that names fewer was made after a loss. What only
// the one that is there knows is taken over too.
//
// The new catalogue is made in a separate file, which then takes the place of the old one; the old one
// keeps another name. A process that is killed leaves the old one, the new one, or none, which counts as a
// catalogue that is missing and is made anew by the next rebuild. Pictures are never changed.
//
// Has the library's lock while it plans and while it carries out, and not in between, where a person is
// asked: others may change the library then, and what was planned is not carried out. One object for one
// rebuild, on one thread at a time.
class LibraryRebuild {
 public:
  // Throws PhotosPlatformError where the library's pictures are not here, and where its catalogue is of a
  // newer version; and PosixError.
  LibraryRebuild(const FileURL& folder, KnownImports imports, std::chrono::milliseconds busyTimeout);

  // Reads every file and changes nothing. Throws what FoundOriginals throws, and PhotosPlatformError where
  // another process is changing the library, and where the catalogue names pictures and none is there: then
  // the disk with them is missing.
  RebuildPlan plan(const CancellationToken& token, const FoundOriginals::Progress& progress);

  // After a plan. Puts the new catalogue in place. Returns where the old one is now, if there was one. `now`
  // is for its name. Durable when it returns. Throws DatabaseError, PosixError and PhotosPlatformError, the
  // last also where another process is changing the library or has changed it since the plan, and has then
  // left the old one in its place, unless that fails as well.
  std::optional<FileURL> carryOut(Date now);

 private:
  void chooseFormerCatalogue();
  void requireUnchanged() const;
  void makeNewCatalogue() const;
  std::optional<FileURL> putInPlace(const DatabaseFile& made, Date now) const;
  void setOldCatalogueAside(const FileURL& aside) const;
  void putOldCatalogueBack(const FileURL& aside) const noexcept;

  const LibraryFolder folder_;
  const KnownImports imports_;
  const std::chrono::milliseconds busyTimeout_;
  std::vector<FoundOriginal> originals_;
  std::vector<FoundOriginal> incoming_;
  std::optional<CatalogueContents> present_;  // absent where it is damaged or missing
  CatalogueContents former_;
  std::optional<FileURL> source_;
  CatalogueContents planned_;
};

}  // namespace tolvander::platform::linux_
