#pragma once

#include <map>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/FileIdentity.h"
#include "Platform/Linux/PhotoLibrary/FreeOriginalPaths.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::platform::linux_ {

// Gives incoming files their names among the originals, never in the place of another file, and takes the
// names back where the change fails. Needs the library's lock; one object for one change.
//
// Taking back is a renaming, and a removal only of a copy, whose incoming file is still there. It is done
// only to the very files that this object named: device, inode, size and date as they were then. What can't
// be taken back keeps its name, and the intent that names it.
class OriginalsImport {
 public:
  OriginalsImport(const LibraryFolder& folder, Catalogue& catalogue)
      : folder_(&folder), catalogue_(&catalogue), paths_(folder, catalogue) {}
  // Takes the names back unless they are kept.
  ~OriginalsImport();
  OriginalsImport(const OriginalsImport&) = delete;
  OriginalsImport& operator=(const OriginalsImport&) = delete;

  // To be called once, with files that their intents name. Brings the intents to what the files then are:
  // another path where the one that was meant is taken, and the date that their file system keeps. The names
  // are durable when it returns. Throws PosixError and DatabaseError.
  //
  // A file is renamed where that is safe, and copied otherwise: to another disk, and on a FAT, where a power
  // cut can leave a renamed file with both names, which share its blocks then, or with neither.
  void moveIntoPlace(std::vector<Intent>& intents);

  // Whether the asset's original is a copy, so that its incoming file is still there. Its intent must stay in
  // the catalogue until removeIncoming has removed that.
  bool isCopied(const std::string& asset) const;

  // The change is done, or it can't be known whether it is.
  void commit() { isCommitted_ = true; }

  // To be called when the change is done: removes the incoming files of what was copied, and their intents.
  // What can't be removed now is left for the next sweep or completion.
  void removeIncoming() noexcept;

 private:
  // A file that has its name.
  struct Named {
    std::string asset;
    std::string temporaryName;
    std::string path;
    FileIdentity identity;
    bool isCopy = false;  // the incoming file is still there
  };

  void mark(std::vector<Intent>& intents);
  void moveOne(Intent& intent, const OwnedDescriptor& incoming);
  FileIdentity giveName(Intent& intent, const OwnedDescriptor& from, const std::string& name);
  FileIdentity carryOver(Intent& intent, const OwnedDescriptor& incoming);
  FileIdentity copyToName(Intent& intent, const OwnedDescriptor& incoming);
  void chooseAnotherName(Intent& intent);
  const OwnedDescriptor& folderFor(const std::string& path);
  void makeFoldersDurable();
  void rollBack();
  bool rollBack(const Named& file, const OwnedDescriptor& incoming);

  const LibraryFolder* folder_;
  Catalogue* catalogue_;
  FreeOriginalPaths paths_;
  std::map<std::string, OwnedDescriptor> folders_;  // that get files, by their paths
  std::vector<std::string> madeFolders_;
  std::vector<std::string> markedAssets_;
  std::vector<Named> named_;
  bool isCommitted_ = false;
};

}  // namespace tolvander::platform::linux_
