#pragma once

#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// An original that has its name, and what the catalogue is to say of it.
struct PlacedOriginal {
  app::PhotosAsset asset;
  CataloguedResource resource;
};

// Brings the files of one change into the library: copied (or cloned) to a folder for files without names,
// announced in the catalogue's placements, named, never in the place of another file, and written through to
// the device. What is not kept is taken back. Needs the library's lock; one object for one change.
class OriginalPlacement {
 public:
  OriginalPlacement(const LibraryFolder& folder, Catalogue& catalogue);
  // Takes the files back unless they are kept. What can't be removed is swept later.
  ~OriginalPlacement();
  OriginalPlacement(const OriginalPlacement&) = delete;
  OriginalPlacement& operator=(const OriginalPlacement&) = delete;

  // All of them or, when it throws, none. The files are durable under their names when it returns. Throws
  // PosixError and DatabaseError.
  std::vector<PlacedOriginal> place(const std::vector<NewOriginal>& originals);

  // For the transaction that catalogues them, which removes their placements.
  void forgetPlacements();

  void keep() { isKept_ = true; }

 private:
  struct File;

  File copy(const NewOriginal& original, const Descriptor& incoming);
  void makeCopiesDurable();
  bool isTaken(const std::string& path) const;
  std::string chooseFreePath(const File& file);
  void announce();
  // Returns the folders, by their paths.
  std::map<std::string, Descriptor> nameFiles(const Descriptor& incoming);
  void giveName(File& file, const Descriptor& from, const Descriptor& folder);
  void carryOver(File& file, const Descriptor& incoming, const Descriptor& folder);
  void announceAnotherName(File& file);
  void takeBack();
  bool remove(const File& file);

  const LibraryFolder* folder_;
  Catalogue* catalogue_;
  const TimeZone zone_;
  std::vector<File> files_;
  std::unordered_set<std::string> chosenKeys_;  // of the names that files of this change get
  std::vector<std::string> madeFolders_;
  bool isAnnounced_ = false;
  bool isKept_ = false;
};

}  // namespace tolvander::platform::linux_
