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

// The result of planning a new catalogue.
struct RebuildPlan {
  bool isNeeded = false;  // the present catalogue differs, is damaged, or is missing
  std::int64_t items = 0;
  RebuildCounts counts;
  std::optional<FileURL> source;  // the earlier catalogue whose identities, dates and albums are kept
};

// Creates the catalogue of a library again from its files, from what a history knows of them, and from the
// best former catalogue. That is the one that names the most of the files, among the present one, its
// backups and those that rebuilds have set aside; of several the present one, or else the newest. A
// catalogue doesn't lose a picture whose file exists, so one that names fewer was created after a loss. What
// only the present one has is added.
//
// The new catalogue is created in a separate file, which then replaces the old one; the old one is renamed.
// A process that is killed leaves the old one, the new one, or none, which counts as a missing catalogue,
// and the next rebuild creates it. Pictures are never changed.
//
// Has the library's lock while it plans and while it carries out the plan, but not in between, while the
// user is asked a question. If another process changes the library then, the plan is not carried out. One
// object for one rebuild, for one thread at a time.
class LibraryRebuild {
 public:
  // Throws PhotosPlatformError if the library's pictures are not here, or its catalogue is of a newer
  // version; and PosixError.
  LibraryRebuild(const FileURL& folder, KnownImports imports, std::chrono::milliseconds busyTimeout);

  // Reads every file and changes nothing. Throws what FoundOriginals throws, and PhotosPlatformError if
  // another process is changing the library, or if the catalogue names pictures and none exists: then the
  // disk with them is missing.
  RebuildPlan plan(const CancellationToken& token, const FoundOriginals::Progress& progress);

  // To be called after plan(). Replaces the catalogue, and returns the new path of the old one, if there was
  // one; its name has the date `now`. Durable when it returns. Throws DatabaseError, PosixError and
  // PhotosPlatformError, the last also if another process is changing the library or has changed it since
  // plan(). The old catalogue is then in its place, unless restoring it fails as well.
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
  std::optional<CatalogueContents> present_;  // absent if it is damaged or missing
  CatalogueContents former_;
  std::optional<FileURL> source_;
  CatalogueContents planned_;
};

}  // namespace tolvander::platform::linux_
