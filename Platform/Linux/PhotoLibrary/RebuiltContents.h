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
  std::int64_t known = 0;    // whose asset the history or the former catalogue knows
  std::int64_t added = 0;    // known to neither
  std::int64_t moved = 0;    // of the known ones: that are not where the former catalogue has them
  std::int64_t dropped = 0;  // entries of the former catalogue whose content is nowhere
  std::int64_t leftOut = 0;  // pictures known to neither whose path differs from another's in case alone
  std::int64_t waiting = 0;  // incoming files that the next sync completes

  friend bool operator==(const RebuildCounts&, const RebuildCounts&) = default;
};

// Makes the contents of a catalogue from files. One object for one making.
//
// A file gets the asset whose content it has, wherever it lies now: first one that the history names for this
// content, then one that the former catalogue has for it. Among several files of one content each keeps the
// asset that the former catalogue gives to its path, if it may. A file of an unknown content gets a new
// asset if its extension is that of a picture or film, and is left out otherwise. So is one whose path
// differs in case alone from another's, which a catalogue can't have, and one with the path that an incoming
// file is to get: that may be a part of its copy. Dates, names and albums are those of the former catalogue
// where it knows the content, and else read from the file as an import does.
//
// The intents of the former catalogue stay for as long as their incoming files are there. An incoming file
// that the history has marked and that no intent names gets a new one, unless an original has its content.
class RebuiltContents {
 public:
  RebuiltContents(const LibraryFolder& folder, const CatalogueContents& former, const KnownImports& imports);

  // `originals` by path. Throws PosixError where a file can't be read, and PhotosPlatformError where the
  // paths of two known files differ in case alone.
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
  std::vector<Intent> intentsOfMarked(const std::vector<FoundOriginal>& originals,
                                      const std::vector<FoundOriginal>& incoming) const;
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
