#include "TolvanderCore/Platform/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/Linux/Files/FATClock.h"
#include "Platform/Linux/Files/FileSystemKind.h"
#include "Platform/Linux/Files/OpenFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/ASCII.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {

using platform::linux_::dateOfFATClock;
using platform::linux_::FATClocks;
using platform::linux_::FolderStream;
using platform::linux_::folderStream;
using platform::linux_::isOnFAT;

namespace {

// The extensions of folders that are presented as one document: bundle types, and those of applications for
// pictures, films and projects. Sorted by bytes, for binary search.
constexpr std::array packageExtensions = std::to_array<std::string_view>({
    "action",
    "aplibrary",
    "app",
    "appex",
    "band",
    "bundle",
    "caction",
    "clr",
    "cocoatouchtestbundle",
    "colorpicker",
    "component",
    "definition",
    "dictionary",
    "docset",
    "download",
    "driver",
    "dsym",
    "dvdproj",
    "fcpbundle",
    "fcpproject",
    "framework",
    "garageband",
    "graffle",
    "imovielibrary",
    "imovieproject",
    "imovietheater",
    "kext",
    "key",
    "keynote",
    "kth",
    "logic",
    "logicx",
    "mdimporter",
    "menu",
    "migratedaperturelibrary",
    "migratedphotolibrary",
    "mlmodelc",
    "mlpackage",
    "monitorpanel",
    "mpkg",
    "musiclibrary",
    "nib",
    "numbers",
    "osax",
    "pages",
    "photolibrary",
    "photoslibrary",
    "pkg",
    "playground",
    "playgroundbook",
    "plugin",
    "prefpane",
    "qlgenerator",
    "rcproject",
    "rtfd",
    "safariextension",
    "saver",
    "scptd",
    "screenflow",
    "service",
    "slidesaver",
    "sparsebundle",
    "spotlight",
    "swiftpm",
    "systemextension",
    "theater",
    "tvlibrary",
    "vst",
    "vst3",
    "wdgt",
    "webplugin",
    "workflow",
    "xcappdata",
    "xcarchive",
    "xcassets",
    "xcdatamodel",
    "xcdatamodeld",
    "xcframework",
    "xcodeproj",
    "xcplugin",
    "xcresult",
    "xctest",
    "xcworkspace",
    "xpc",
});
static_assert(std::ranges::is_sorted(packageExtensions), "the search needs the table in order");

// Folders at the root of a volume that belong to file systems or operating systems. ".Trash-1000" and the
// like are hidden by their dot.
bool isSystemFolder(std::string_view name) {
  constexpr std::array names =
      std::to_array<std::string_view>({"$recycle.bin", "lost+found", "system volume information"});
  return std::ranges::find(names, lowercasedASCII(name)) != names.end();
}

// FAT's hidden attribute of an entry of an open folder (ioctl_fat(2)). False if the driver doesn't support
// the query, like exFAT's before Linux 6.9, or the entry can't be opened.
bool hasHiddenAttribute(int folder, const char* name) {
  const OwnedDescriptor entry(retryOnEINTR(
      [&] { return openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  std::uint32_t attributes = 0;
  return entry && ioctl(entry.number(), FAT_IOCTL_GET_ATTRIBUTES, &attributes) == 0 &&
         (attributes & ATTR_HIDDEN) != 0;
}

struct NamedEntry {
  std::string name;
  bool isDirectory = false;
};

// The entries of one folder that aren't hidden. If reading fails, those that were read before, and the errno
// value.
struct FolderContents {
  std::vector<NamedEntry> entries;
  int failure = 0;
};

bool isDirectory(DIR* folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) {
    return entry.d_type == DT_DIR;
  }
  struct stat status {};
  return fstatat(dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

// Reads and closes a folder. `additionalFlags` are flags of open(2).
FolderContents readFolder(const FileURL& directory, int additionalFlags) {
  const char* path = directory.path().c_str();
  OwnedDescriptor descriptor(
      retryOnEINTR([&] { return open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | additionalFlags); }));
  const FolderStream folder = folderStream(std::move(descriptor));
  if (!folder) {
    return {{}, errno};
  }
  const bool hasAttributes = isOnFAT(dirfd(folder.get()));

  FolderContents contents;
  while (true) {
    errno = 0;
    const dirent* entry = readdir(folder.get());
    if (entry == nullptr) {
      contents.failure = errno;
      return contents;
    }
    const std::string_view name(entry->d_name);
    if (!name.starts_with('.') &&
        !(hasAttributes && hasHiddenAttribute(dirfd(folder.get()), entry->d_name))) {
      contents.entries.push_back({entry->d_name, isDirectory(folder.get(), *entry)});
    }
  }
}

struct stat statusOf(const FileURL& url) {
  struct stat status {};
  if (lstat(url.path().c_str(), &status) != 0) {
    throw PosixError(errno, "look at", url);
  }
  return status;
}

FileResourceValues valuesOf(const struct stat& status) {
  FileResourceValues values;
  values.isRegularFile = S_ISREG(status.st_mode);
  values.isDirectory = S_ISDIR(status.st_mode);
  values.isSymbolicLink = S_ISLNK(status.st_mode);
  if (values.isRegularFile) {
    values.fileSize = status.st_size;
  }
  values.contentModificationDate = dateSince1970(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
  return values;
}

}  // namespace

FileResourceValues fileResourceValues(const FileURL& url) { return valuesOf(statusOf(url)); }

FileResourceValues cameraFileResourceValues(const FileURL& url, const TimeZone& zone) {
  const struct stat status = statusOf(url);
  FileResourceValues values = valuesOf(status);
  if (values.isRegularFile && values.contentModificationDate) {
    if (const auto clockOffset = FATClocks::ofThisProcess().offsetOf(status.st_dev)) {
      values.contentModificationDate = dateOfFATClock(*values.contentModificationDate, *clockOffset, zone);
    }
  }
  return values;
}

bool fileExists(const FileURL& url) {
  struct stat status {};
  return stat(url.path().c_str(), &status) == 0;
}

bool isPackage(const FileURL& directory) {
  return std::ranges::binary_search(packageExtensions, lowercasedASCII(directory.pathExtension()));
}

std::vector<FileURL> contentsOfDirectory(const FileURL& directory) {
  const FolderContents contents = readFolder(directory, 0);
  if (contents.failure != 0) {
    throw PosixError(contents.failure, "read the folder", directory);
  }
  std::vector<FileURL> urls;
  urls.reserve(contents.entries.size());
  for (const NamedEntry& entry : contents.entries) {
    urls.push_back(directory.appending(entry.name));
  }
  return urls;
}

struct DirectoryEnumerator::Walk {
  // A folder that was read, and the number of its entries that were returned.
  struct Level {
    FileURL directory;
    std::vector<NamedEntry> entries;
    std::size_t given = 0;
  };

  ErrorHandler handler;
  std::vector<Level> levels;
  bool isVolume = false;                 // whether the root is a volume
  std::optional<FileURL> folderToEnter;  // entered before the next entry is returned
  int flagsToEnter = 0;                  // flags of open(2)

  // Returns false if the handler ends the enumeration.
  bool enter(const FileURL& directory) {
    FolderContents contents = readFolder(directory, flagsToEnter);
    if (contents.failure != 0 && handler &&
        !handler(directory, PosixError(contents.failure, "read the folder", directory))) {
      return false;
    }
    if (isVolume && levels.empty()) {
      std::erase_if(contents.entries, [](const NamedEntry& entry) { return isSystemFolder(entry.name); });
    }
    levels.push_back({directory, std::move(contents.entries)});
    // Links below the root are not followed, not even one that replaced a folder after its name was read.
    flagsToEnter = O_NOFOLLOW;
    return true;
  }

  std::optional<FileURL> next() {
    if (const auto directory = std::exchange(folderToEnter, std::nullopt)) {
      if (!enter(*directory)) {
        levels.clear();
      }
    }
    while (!levels.empty() && levels.back().given == levels.back().entries.size()) {
      levels.pop_back();
    }
    if (levels.empty()) {
      return std::nullopt;
    }
    Level& level = levels.back();
    const NamedEntry& entry = level.entries[level.given++];
    FileURL url = level.directory.appending(entry.name);
    if (entry.isDirectory && !isPackage(url)) {
      folderToEnter = url;
    }
    return url;
  }
};

std::optional<DirectoryEnumerator> DirectoryEnumerator::at(const FileURL& root, ErrorHandler handler,
                                                           Root kind) {
  struct stat status {};
  const bool found = stat(root.path().c_str(), &status) == 0;
  if (found ? !S_ISDIR(status.st_mode) : errno == ENOENT || errno == ENOTDIR) {
    return std::nullopt;
  }
  auto walk = std::make_unique<Walk>();
  walk->handler = std::move(handler);
  walk->isVolume = kind == Root::volume;
  walk->folderToEnter = root;
  return DirectoryEnumerator(std::move(walk));
}

DirectoryEnumerator::DirectoryEnumerator(std::unique_ptr<Walk> walk) : walk_(std::move(walk)) {}
DirectoryEnumerator::~DirectoryEnumerator() = default;
DirectoryEnumerator::DirectoryEnumerator(DirectoryEnumerator&&) noexcept = default;
DirectoryEnumerator& DirectoryEnumerator::operator=(DirectoryEnumerator&&) noexcept = default;

std::optional<FileURL> DirectoryEnumerator::next() { return walk_->next(); }

}  // namespace tolvander
