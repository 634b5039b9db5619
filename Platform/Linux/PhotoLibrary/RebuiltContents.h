#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/CatalogueContents.h"
#include "Platform/Linux/PhotoLibrary/FoundOriginals.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::platform::linux_ {

// What a history of imports knows of the files that were imported. Fingerprints are the SHA-256 of the
// imported file, as 64 lower-case hexadecimal digits.
struct KnownImports {
  struct Import {
    std::string assetIdentifier;
    std::string filename;  // of the camera file
  };
  std::multimap<std::string, Import> imports;  // by fingerprint
  std::set<std::string> pendingFingerprints;   // of marked files
  UUID history;                                // its identifier
};

// Numbers of files or entries.
struct RebuildCounts {
  std::int64_t known = 0;    // files whose asset the history or the former catalogue knows
  std::int64_t added = 0;    // pictures unknown to both
  std::int64_t moved = 0;    // known files with another path than in the former catalogue
  std::int64_t dropped = 0;  // items of the former catalogue whose content was not found
  std::int64_t leftOut = 0;  // unknown pictures whose path differs from another one only in case
  std::int64_t waiting = 0;  // incoming files that the next sync completes

  friend bool operator==(const RebuildCounts&, const RebuildCounts&) = default;
};

// Creates the contents of a catalogue from files. One object for one use.
//
// A file gets the asset of its content, independent of its path: first one that the history names for this
// content, then one of the former catalogue. Of several files with the same content, each keeps the asset
// that the former catalogue has for its path, if that is possible. A file with unknown content gets a new
// asset if its extension is that of a picture or film; otherwise it is left out. Also left out: a file whose
// path differs from another's only in case, which a catalogue doesn't allow, and one with the intended path
// of an incoming file, because it may be an incomplete copy of that. Dates, names and albums come from the
// former catalogue if it knows the content, otherwise from the file, as in an import.
//
// Intents of the former catalogue stay while their incoming files exist. An incoming file that the history
// has marked and no intent names gets a new intent.
class RebuiltContents {
 public:
  RebuiltContents(const LibraryFolder& folder, const CatalogueContents& former, const KnownImports& imports);

  // `originals` must be sorted by path. Throws PosixError if a file can't be read, and PhotosPlatformError
  // if the paths of two known files differ only in case.
  CatalogueContents make(const std::vector<FoundOriginal>& originals,
                         const std::vector<FoundOriginal>& incoming);

  const RebuildCounts& counts() const { return counts_; }

 private:
  using Item = CatalogueContents::Item;

  void assignKnownIdentifiers(const std::vector<FoundOriginal>& originals);
  void assignNewIdentifiers(const std::vector<FoundOriginal>& originals, const std::vector<Intent>& intents);
  void assign(const FoundOriginal& file, const std::string& identifier);
  bool isOfHistory(const FoundOriginal& file, const std::string& identifier) const;
  const Item* formerAtPathOf(const FoundOriginal& file) const;
  const Item* formerItem(const FoundOriginal& file, const std::string& identifier) const;
  Item itemFor(const FoundOriginal& file, const std::string& identifier) const;
  Item itemFromFile(const FoundOriginal& file, const std::string& identifier) const;
  std::string filenameOf(const FoundOriginal& file, const std::string& identifier) const;
  std::vector<CatalogueContents::Album> albums() const;
  std::vector<Intent> formerIntents(const std::vector<FoundOriginal>& incoming) const;
  std::vector<Intent> intentsOfMarked(const std::vector<FoundOriginal>& incoming) const;
  Intent intentFor(const FoundOriginal& incoming) const;
  void count(const std::vector<FoundOriginal>& originals);

  const LibraryFolder* folder_;
  const CatalogueContents* former_;
  const KnownImports* imports_;
  std::map<std::string, const Item*> formerByPath_;
  std::multimap<std::string, const Item*> formerByContent_;
  std::multimap<std::string, const Intent*> intentsByContent_;
  std::map<std::string, std::string> identifiers_;  // by path
  std::set<std::string> used_;                      // identifiers
  RebuildCounts counts_;
};

}  // namespace tolvander::platform::linux_
