#include "Platform/Linux/PhotoLibrary/OriginalFiles.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "TolvanderCore/MediaKind.h"

namespace tolvander::platform::linux_ {

namespace {

class Walk {
 public:
  Walk(const OriginalFileVisitor& visit, const DirectoryEnumerator::ErrorHandler& unreadable)
      : visit_(&visit), unreadable_(&unreadable) {}

  // Returns whether to continue.
  bool through(const FileURL& folder) {
    auto entries = DirectoryEnumerator::at(folder, *unreadable_);
    if (!entries || !seen_.insert(folder.resolvingSymlinks().path()).second) {
      return true;
    }
    while (const auto entry = entries->next()) {
      const FileResourceValues values = fileResourceValues(*entry);
      if (values.isDirectory && !isPackage(*entry)) {
        continue;  // its entries come next
      }
      const bool isNewWalk = values.isDirectory || (values.isSymbolicLink && leadsToFolder(*entry));
      if (!(isNewWalk ? through(*entry) : (*visit_)(*entry))) {
        return false;
      }
    }
    return true;
  }

 private:
  static bool leadsToFolder(const FileURL& link) {
    const FileURL target = link.resolvingSymlinks();
    return fileExists(target) && fileResourceValues(target).isDirectory;
  }

  const OriginalFileVisitor* visit_;
  const DirectoryEnumerator::ErrorHandler* unreadable_;
  std::unordered_set<std::string> seen_;  // visited folders, with links resolved
};

}  // namespace

void forEachOriginalFile(const LibraryFolder& folder, const OriginalFileVisitor& visit,
                         const DirectoryEnumerator::ErrorHandler& unreadable) {
  Walk(visit, unreadable).through(folder.url().appending(LibraryFolder::originals));
}

std::vector<FileURL> incomingFiles(const LibraryFolder& folder) {
  std::vector<FileURL> files;
  auto entries = DirectoryEnumerator::at(folder.url().appending(LibraryFolder::incoming));
  while (auto entry = entries ? entries->next() : std::nullopt) {
    if (isIncomingName(entry->lastPathComponent())) {
      files.push_back(std::move(*entry));
    }
  }
  return files;
}

std::string originalPath(const LibraryFolder& folder, const FileURL& file) {
  return file.path().substr(folder.url().path().size() + 1);
}

std::optional<app::PhotosMediaType> mediaTypeByExtension(const FileURL& file) {
  if (isVideoExtension(file.pathExtension())) {
    return app::PhotosMediaType::video;
  }
  return fileTypeOfExtension(file.pathExtension()) == FileType::other
             ? std::nullopt
             : std::optional(app::PhotosMediaType::image);
}

}  // namespace tolvander::platform::linux_
