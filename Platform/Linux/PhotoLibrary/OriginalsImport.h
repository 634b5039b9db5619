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

// Moves incoming files to their final names among the originals, without replacing other files, and moves
// them back if the change fails. Needs the library's lock. One object for one change.
//
// Rolling back renames a file to its incoming name; a copied file is removed, because its incoming file
// still exists. It affects only files whose device, inode, size and date are still those of the files that
// this object moved. A file that can't be rolled back keeps its final name and its intent.
class OriginalsImport {
 public:
  OriginalsImport(const LibraryFolder& folder, Catalogue& catalogue)
      : folder_(&folder), catalogue_(&catalogue), paths_(folder, catalogue) {}
  // Rolls back unless committed.
  ~OriginalsImport();
  OriginalsImport(const OriginalsImport&) = delete;
  OriginalsImport& operator=(const OriginalsImport&) = delete;

  // To be called once, with the intents that name the files. Updates the intents: to another path if the
  // intended one is taken, and to the modification date that the file system stores. The final names are
  // durable when it returns. Throws PosixError and DatabaseError.
  //
  // A file is copied instead of renamed to another file system and on a FAT. There a power loss during a
  // rename can leave the file with both names, sharing its blocks, or with none.
  void moveIntoPlace(std::vector<Intent>& intents);

  // Whether the original of the asset is a copy, so that its incoming file still exists. Its intent must
  // stay in the catalogue until removeIncoming has removed that file.
  bool isCopied(const std::string& asset) const;

  // Makes the destructor leave the files. To be called when the change is committed, or when it is unknown
  // whether it is.
  void commit() { isCommitted_ = true; }

  // To be called when the change is done: removes the incoming files of what was copied, and their intents.
  // What can't be removed now is left for the next sweep or completion.
  void removeIncoming() noexcept;

 private:
  // A file that was moved or copied to its final name.
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
