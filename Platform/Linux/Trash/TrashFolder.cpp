#include "Platform/Linux/Trash/TrashFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <memory>
#include <string_view>
#include <utility>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/Files/FileSystemKind.h"
#include "Platform/Linux/Files/OpenFolder.h"
#include "Platform/Linux/Trash/TrashInfo.h"
#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr const char* sharedName = ".Trash";
constexpr const char* filesName = "files";
constexpr const char* infoName = "info";

// Reads the clock that file times and intents use. time(2) lags behind it by milliseconds, so that a file
// moved just after the start of a second would be dated before its intent.
std::time_t now() { return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()); }

std::string userName() { return std::to_string(geteuid()); }
std::string privateName() { return std::string(sharedName) + "-" + userName(); }
std::string infoFileName(const std::string& item) { return item + std::string(trashInfoExtension); }

std::optional<struct stat> statusOf(int folder, const std::string& name) {
  struct stat status {};
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return std::nullopt;
  }
  return status;
}

bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool isOwnFolder(const struct stat& status) { return S_ISDIR(status.st_mode) && status.st_uid == geteuid(); }

bool isSharedTrash(const std::optional<struct stat>& status) {
  return status && S_ISDIR(status->st_mode) && (status->st_mode & S_ISVTX) != 0;
}

// Whether the entry `name` of `parent` is this folder.
bool isEntry(const PathDescriptor& folder, const PathDescriptor& parent, const std::string& name) {
  struct stat status {};
  const auto entry = statusOf(parent.number(), name);
  return fstat(folder.number(), &status) == 0 && entry && isSame(status, *entry);
}

OwnedDescriptor openReadable(int parent, const char* name) {
  return OwnedDescriptor(
      retryOnEINTR([&] { return openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
}

// FAT has no atomic rename. vfat writes the new entry with size 0 and no start cluster, and updates both
// when it writes the inode, up to half a minute later: until then, a card that is unplugged has an empty
// file. The old entry is removed at any time; a card with both entries has two files that share their
// clusters. syncfs waits for all of that: fsync of the file and the folders would miss the first clusters of
// a folder that was created since the volume was mounted, because the driver keeps them with the folder
// above. The fsync flushes the drive's cache.
bool isRenameWritten(int to) {
  const OwnedDescriptor folder = openReadable(to, ".");
  return folder && syncfs(folder.number()) == 0 && tryMakeDurable(folder);
}

// Opens a folder that belongs to this user; with `create`, creates it. Absent if it doesn't exist.
std::optional<PathDescriptor> ownFolder(const PathDescriptor& parent, const std::string& name, bool create) {
  const FileURL url = parent.url().appending(name);
  if (create && mkdirat(parent.number(), name.c_str(), S_IRWXU) == 0) {
    if (!tryMakeDurable(openReadable(parent.number(), "."))) {
      const int failure = errno;
      unlinkat(parent.number(), name.c_str(), AT_REMOVEDIR);
      throw PosixError(failure, "make durable", url);
    }
  } else if (create && errno != EEXIST) {
    throw PosixError(errno, "create the folder", url);
  }
  const auto status = statusOf(parent.number(), name);
  if (!status) {
    return std::nullopt;
  }
  if (!isOwnFolder(*status)) {
    throw PosixError(EPERM, "use the folder", url);
  }
  return parent.openDirectory(name);
}

// The "files" folder of the Trash `name`; absent if the Trash or one of its two folders is missing.
std::optional<FileURL> filesFolderIn(const PathDescriptor& parent, const std::string& name, bool create) {
  const auto trash = ownFolder(parent, name, create);
  if (!trash || !ownFolder(*trash, infoName, create)) {
    return std::nullopt;
  }
  const auto files = ownFolder(*trash, filesName, create);
  return files ? std::optional(files->url()) : std::nullopt;
}

PathDescriptor openPath(const FileURL& url) {
  if (url.path() == "/") {
    return PathDescriptor::open(AT_FDCWD, "/", url);
  }
  return openPath(url.deletingLastPathComponent()).openDirectory(std::string(url.lastPathComponent()));
}

}  // namespace

void moveExclusively(int from, const std::string& name, int to, const std::string& newName,
                     const FileURL& url) {
  if (renameat2(from, name.c_str(), to, newName.c_str(), RENAME_NOREPLACE) != 0) {
    throw PosixError(errno, "rename without replacing", url);
  }
  if (isOnFAT(to) && !isRenameWritten(to)) {
    const int failure = errno;
    renameat2(to, newName.c_str(), from, name.c_str(), RENAME_NOREPLACE);
    throw PosixError(failure, "make durable", url);
  }
}

FileURL TrashFolder::filesFolderAt(const FileURL& top, bool create) {
  const PathDescriptor folder = openPath(top.standardized());
  if (isSharedTrash(statusOf(folder.number(), sharedName))) {
    try {
      if (auto files = filesFolderIn(folder.openDirectory(sharedName), userName(), create)) {
        return *std::move(files);
      }
    } catch (const PosixError&) {
      // The administrator's folder can't be used, so the user's own is.
    }
  }
  if (auto files = filesFolderIn(folder, privateName(), create)) {
    return *std::move(files);
  }
  throw PosixError(ENOENT, "find the Trash of", top);
}

std::optional<FileURL> TrashFolder::enclosingFilesFolder(const FileURL& place) {
  for (FileURL url = place.standardized(); url.path() != "/"; url = url.deletingLastPathComponent()) {
    const FileURL trash = url.deletingLastPathComponent();
    const bool isShared = trash.lastPathComponent() == userName() &&
                          trash.deletingLastPathComponent().lastPathComponent() == sharedName;
    if (url.lastPathComponent() == filesName && (isShared || trash.lastPathComponent() == privateName())) {
      if (!ofFiles(openPath(url))) {
        throw PosixError(EPERM, "use the Trash", url);
      }
      return url;
    }
  }
  return std::nullopt;
}

// Goes from "files" upwards by "..", so that it doesn't matter if the path has changed.
std::optional<TrashFolder> TrashFolder::ofFiles(const PathDescriptor& files) {
  const FileURL trashURL = files.url().deletingLastPathComponent();
  const FileURL parentURL = trashURL.deletingLastPathComponent();
  const PathDescriptor trash = PathDescriptor::open(files.number(), "..", trashURL);
  const PathDescriptor parent = PathDescriptor::open(trash.number(), "..", parentURL);
  const PathDescriptor above =
      PathDescriptor::open(parent.number(), "..", parentURL.deletingLastPathComponent());

  const bool isPrivate = isEntry(trash, parent, privateName());
  const bool isShared = isEntry(trash, parent, userName()) && isEntry(parent, above, sharedName) &&
                        isSharedTrash(statusOf(above.number(), sharedName));
  struct stat status {};
  if ((!isPrivate && !isShared) || !isEntry(files, trash, filesName) || fstat(trash.number(), &status) != 0 ||
      !isOwnFolder(status)) {
    return std::nullopt;
  }
  OwnedDescriptor filesFolder = openReadable(files.number(), ".");
  OwnedDescriptor infoFolder = openReadable(trash.number(), infoName);
  if (!filesFolder || !infoFolder) {
    return std::nullopt;
  }
  return TrashFolder(std::move(filesFolder), std::move(infoFolder), files.url(),
                     isPrivate ? parentURL : parentURL.deletingLastPathComponent());
}

bool TrashFolder::isSameAs(const TrashFolder& other) const {
  struct stat one {};
  struct stat another {};
  return fstat(files_.number(), &one) == 0 && fstat(other.files_.number(), &another) == 0 &&
         isSame(one, another);
}

bool TrashFolder::moveIn(const PathDescriptor& from, const std::string& name, const std::string& newName) {
  const FileURL item = from.url().appending(name);
  try {
    writeInfo(newName, item);
  } catch (const PosixError& error) {
    if (error.code() == EEXIST) {
      return false;
    }
    throw;
  }
  try {
    moveExclusively(from.number(), name, files_.number(), newName, item);
  } catch (const PosixError& error) {
    removeInfo(newName);
    if (error.code() == EEXIST) {
      return false;
    }
    throw;
  }
  return true;
}

void TrashFolder::rename(const std::string& name, const std::string& newName) {
  const FileURL item = filesURL_.appending(name);
  const bool hasInfo = statusOf(info_.number(), infoFileName(name)).has_value();
  if (hasInfo) {
    moveExclusively(info_.number(), infoFileName(name), info_.number(), infoFileName(newName), item);
  }
  if (renameat2(files_.number(), name.c_str(), files_.number(), newName.c_str(), RENAME_NOREPLACE) != 0) {
    const int failure = errno;
    if (hasInfo) {
      renameat2(info_.number(), infoFileName(newName).c_str(), info_.number(), infoFileName(name).c_str(),
                RENAME_NOREPLACE);
    }
    throw PosixError(failure, "rename without replacing", item);
  }
}

// The info file is removed last: if a power loss undoes the move, the item in the Trash must still have it.
void TrashFolder::moveOut(const std::string& name, const PathDescriptor& to, const std::string& newName) {
  moveExclusively(files_.number(), name, to.number(), newName, filesURL_.appending(name));
  if (tryMakeDurable(openReadable(to.number(), "."))) {
    removeInfo(name);
  }
}

void TrashFolder::remove(const std::string& name) {
  if (unlinkat(files_.number(), name.c_str(), 0) != 0) {
    throw PosixError(errno, "remove", filesURL_.appending(name));
  }
  if (tryMakeDurable(files_)) {
    removeInfo(name);
  }
}

std::vector<app::TrashedItem> TrashFolder::items() const {
  const FolderStream entries = folderStream(openReadable(info_.number(), "."));
  if (!entries) {
    throw PosixError(errno, "read the Trash", filesURL_);
  }
  std::vector<app::TrashedItem> items;
  errno = 0;
  while (const dirent* const entry = readdir(entries.get())) {
    if (auto item = itemOfInfo(entry->d_name)) {
      items.push_back(*std::move(item));
    }
    errno = 0;
  }
  if (errno != 0) {
    throw PosixError(errno, "read the Trash", filesURL_);
  }
  return items;
}

// Throws if the file can't be read, because it may be an info file.
std::optional<app::TrashedItem> TrashFolder::itemOfInfo(const std::string& infoFileName) const {
  constexpr std::size_t largestInfo = 65'536;  // bytes; five times the longest percent-encoded path
  if (!infoFileName.ends_with(trashInfoExtension)) {
    return std::nullopt;
  }
  const OwnedDescriptor file(retryOnEINTR([&] {
    return openat(info_.number(), infoFileName.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
  }));
  struct stat status {};
  if (!file && (errno == ENOENT || errno == ELOOP)) {
    return std::nullopt;
  }
  if (!file || fstat(file.number(), &status) != 0) {
    throw PosixError(errno, "read the Trash", filesURL_);
  }
  if (!S_ISREG(status.st_mode) || status.st_size > static_cast<off_t>(largestInfo)) {
    return std::nullopt;
  }
  std::string text(largestInfo, '\0');
  text.resize(readFully(file, std::as_writable_bytes(std::span(text)), filesURL_));
  const auto info = trashInfoFromText(text);
  if (!info) {
    return std::nullopt;
  }
  const bool isAbsolute = info->path.starts_with('/');
  return app::TrashedItem{
      .name = infoFileName.substr(0, infoFileName.size() - trashInfoExtension.size()),
      .original = (isAbsolute ? FileURL(info->path) : top_.appending(info->path)).standardized(),
      .trashedAt = info->deletedAt};
}

void TrashFolder::writeInfo(const std::string& name, const FileURL& item) {
  const FileURL url = filesURL_.appending("../info").appending(infoFileName(name)).standardized();
  const std::string fileName = infoFileName(name);
  const OwnedDescriptor file(retryOnEINTR([&] {
    return openat(info_.number(), fileName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                  S_IRUSR | S_IWUSR);
  }));
  if (!file) {
    throw PosixError(errno, "create", url);
  }
  try {
    const std::string top = top_.path() == "/" ? "/" : top_.path() + "/";
    const std::string& path = item.path();
    const std::string text = trashInfoText(path.starts_with(top) ? path.substr(top.size()) : path, now());
    writeAll(file, std::as_bytes(std::span(text)), url);
    if (!tryMakeDurable(file) || !tryMakeDurable(info_)) {
      throw PosixError(errno, "make durable", url);
    }
  } catch (...) {
    unlinkat(info_.number(), fileName.c_str(), 0);
    throw;
  }
}

// Removes only a file with the content of an info file, not, for example, a picture with such a name.
// Ignores errors, because the item was moved already.
void TrashFolder::removeInfo(const std::string& name) {
  const std::string fileName = infoFileName(name);
  const OwnedDescriptor file(retryOnEINTR([&] {
    return openat(info_.number(), fileName.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
  }));
  std::array<char, 32> beginning{};
  struct stat status {};
  if (!file || fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return;
  }
  const ssize_t size = retryOnEINTR([&] { return read(file.number(), beginning.data(), beginning.size()); });
  const auto entry = statusOf(info_.number(), fileName);
  if (size > 0 && isTrashInfo({beginning.data(), static_cast<std::size_t>(size)}) && entry &&
      isSame(status, *entry)) {
    unlinkat(info_.number(), fileName.c_str(), 0);
  }
}

}  // namespace tolvander::platform::linux_
