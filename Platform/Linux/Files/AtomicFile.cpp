#include "TolvanderCore/Platform/AtomicFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/Files/FileSystemKind.h"
#include "Platform/Linux/Files/LockedFile.h"
#include "Platform/Linux/Files/OpenFolder.h"
#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander {

using platform::linux_::FolderStream;
using platform::linux_::folderStream;
using platform::linux_::isInUserSpace;
using platform::linux_::isStillNamed;
using platform::linux_::makeDurable;
using platform::linux_::makeFolderDurable;
using platform::linux_::openFolder;

namespace {

constexpr std::string_view auxiliaryExtension = ".tmp";
constexpr std::size_t randomTextLength = 36;  // of a UUID

// The common prefix of the names of all auxiliary files of a target: its name, shortened if necessary.
std::string auxiliaryPrefix(const FileURL& target) {
  constexpr std::size_t longestName = NAME_MAX - 2 - randomTextLength - auxiliaryExtension.size();
  std::string prefix(".");
  prefix += target.lastPathComponent().substr(0, longestName);
  return prefix + ".";
}

std::string newAuxiliaryName(const FileURL& target) {
  return auxiliaryPrefix(target) + UUID::random().text() + std::string(auxiliaryExtension);
}

bool isAuxiliaryName(std::string_view name, std::string_view prefix) {
  return name.size() == prefix.size() + randomTextLength + auxiliaryExtension.size() &&
         name.starts_with(prefix) && name.ends_with(auxiliaryExtension) &&
         UUID::fromText(name.substr(prefix.size(), randomTextLength));
}

std::optional<struct stat> statusOf(const FileURL& url) {
  struct stat status {};
  if (lstat(url.path().c_str(), &status) == 0) {
    return status;
  }
  if (errno == ENOENT) {
    return std::nullopt;
  }
  throw PosixError(errno, "look at", url);
}

FileURL destinationOfLink(const FileURL& link) {
  std::string destination(PATH_MAX, '\0');
  const ssize_t length = readlink(link.path().c_str(), destination.data(), destination.size());
  if (length <= 0) {
    throw PosixError(length < 0 ? errno : ENOENT, "read the link", link);
  }
  destination.resize(static_cast<std::size_t>(length));
  return destination.starts_with('/') ? FileURL(destination)
                                      : link.deletingLastPathComponent().appending(destination);
}

// Follows symbolic links to their target, which need not exist.
FileURL followingLinks(FileURL url) {
  constexpr int mostLinks = 40;  // like the kernel (path_resolution(7))
  for (int links = 0; links < mostLinks; ++links) {
    const auto status = statusOf(url);
    if (!status || !S_ISLNK(status->st_mode)) {
      return url;
    }
    url = destinationOfLink(url);
  }
  throw PosixError(ELOOP, "follow the link", url);
}

bool isFolder(const FileURL& url) {
  struct stat status {};
  return stat(url.path().c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Creates one folder; its parent must exist.
void createDirectory(const FileURL& directory, Durability durability) {
  if (mkdir(directory.path().c_str(), 0777) != 0) {
    const int failure = errno;
    if (failure == EEXIST && isFolder(directory)) {
      return;  // created concurrently
    }
    throw PosixError(failure == EEXIST ? ENOTDIR : failure, "create the folder", directory);
  }
  if (durability == Durability::survivesProcess) {
    return;
  }
  try {
    makeFolderDurable(directory.deletingLastPathComponent());
  } catch (const PosixError&) {
    rmdir(directory.path().c_str());  // because the next call assumes that existing folders are durable
    throw;
  }
}

}  // namespace

void createDirectories(const FileURL& directory, Durability durability) {
  struct stat status {};
  if (stat(directory.path().c_str(), &status) == 0) {
    if (!S_ISDIR(status.st_mode)) {
      throw PosixError(ENOTDIR, "create the folder", directory);
    }
    return;
  }
  if (errno != ENOENT) {
    throw PosixError(errno, "create the folder", directory);
  }
  createDirectories(directory.deletingLastPathComponent(), durability);
  createDirectory(directory, durability);
}

struct AtomicFile::Replacement {
  FileURL target;
  FileURL folder;
  FileURL auxiliary;
  Durability durability;
  OwnedDescriptor file;           // the auxiliary file, locked so that removeLeftovers leaves it
  bool auxiliaryIsThere = false;  // whether it has to be removed

  Replacement(const FileURL& requestedTarget, Durability requestedDurability)
      : target(followingLinks(requestedTarget)),
        folder(target.deletingLastPathComponent()),
        auxiliary(target),
        durability(requestedDurability) {
    try {
      createAuxiliaryFile();
      takeOverPermissions();
    } catch (...) {
      removeAuxiliaryFile();
      throw;
    }
  }

  ~Replacement() { removeAuxiliaryFile(); }

  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  // removeLeftovers in another process can find the file before it is locked, and remove it. Then a new one
  // is created. Many failures in a row have another cause.
  void createAuxiliaryFile() {
    constexpr int mostAttempts = 16;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
      auxiliary = folder.appending(newAuxiliaryName(target));
      file = OwnedDescriptor(retryOnEINTR(
          [this] { return open(auxiliary.path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
      if (!file) {
        throw PosixError(errno, "create", auxiliary);
      }
      auxiliaryIsThere = true;
      const bool sweepHoldsIt = flock(file.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
      if (!sweepHoldsIt && statusOf(auxiliary)) {
        return;
      }
      removeAuxiliaryFile();
    }
    throw PosixError(EAGAIN, "create", auxiliary);
  }

  void removeAuxiliaryFile() {
    if (auxiliaryIsThere) {
      unlink(auxiliary.path().c_str());
      auxiliaryIsThere = false;
    }
  }

  // Copies the permissions before the first byte is written, so that the new content is never readable for
  // users who couldn't read the old. File systems without permissions give all files the same ones, and
  // chmod would fail.
  void takeOverPermissions() {
    constexpr mode_t permissionBits = 0777;
    const auto previous = statusOf(target);
    const auto created = statusOf(auxiliary);
    if (!previous || !created || ((previous->st_mode ^ created->st_mode) & permissionBits) == 0) {
      return;
    }
    if (retryOnEINTR([&] { return fchmod(file.number(), previous->st_mode & permissionBits); }) != 0) {
      throw PosixError(errno, "set the permissions of", auxiliary);
    }
  }

  void write(std::span<const std::byte> bytes) {
    writeAll(file, bytes, auxiliary);
    if (durability == Durability::survivesPowerLoss) {
      // Starts the writeback while the caller produces the next bytes. Only a hint: fsync makes the file
      // durable and reports errors.
      sync_file_range(file.number(), 0, 0, SYNC_FILE_RANGE_WRITE);
    }
  }

  // Network file systems report some failed writes only at close. Closing a duplicate makes them report
  // without releasing the lock.
  void reportLateFailures() {
    OwnedDescriptor duplicate(fcntl(file.number(), F_DUPFD_CLOEXEC, 0));
    if (const int failure = duplicate ? duplicate.close() : errno; failure != 0) {
      throw PosixError(failure, "finish writing", auxiliary);
    }
  }

  void commit() {
    if (durability == Durability::survivesPowerLoss) {
      makeDurable(file, auxiliary);
    }
    reportLateFailures();
    if (durability == Durability::survivesPowerLoss) {
      replaceDurably();
    } else {
      rename();
    }
    // It has the old content now. Errors are ignored, because the replacement is already committed.
    removeAuxiliaryFile();
  }

  void rename() {
    if (::rename(auxiliary.path().c_str(), target.path().c_str()) != 0) {
      throw PosixError(errno, "replace", target);
    }
    auxiliaryIsThere = false;
  }

  // Returns false if the file system doesn't support it. Not tried on FUSE: exfat-fuse 1.4 treats it as a
  // plain rename, which loses the other file, and crashes when that file is accessed.
  bool exchange() {
    if (isInUserSpace(file.number())) {
      return false;
    }
    if (renameat2(AT_FDCWD, auxiliary.path().c_str(), AT_FDCWD, target.path().c_str(), RENAME_EXCHANGE) ==
        0) {
      return true;
    }
    if (errno == EINVAL || errno == ENOSYS) {
      return false;
    }
    throw PosixError(errno, "replace", target);
  }

  // How the target was replaced, which determines how that is undone.
  enum class Step { created, exchanged, overwritten };

  void replaceDurably() {
    const OwnedDescriptor openedFolder = openFolder(folder);
    const OwnedDescriptor previous = lockedPrevious();
    const Step step = takeThePlace();
    try {
      makeDurable(openedFolder, folder);
    } catch (const PosixError&) {
      undo(step);
      throw;
    }
  }

  // After the exchange the old content has the auxiliary name; the lock keeps removeLeftovers away from it
  // until the change is durable. A file that the user can't read can't be locked.
  OwnedDescriptor lockedPrevious() const {
    OwnedDescriptor previous(open(target.path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (previous) {
      flock(previous.number(), LOCK_SH | LOCK_NB);
    }
    return previous;
  }

  Step takeThePlace() {
    const auto existing = statusOf(target);
    if (existing && S_ISDIR(existing->st_mode)) {
      throw PosixError(EISDIR, "replace", target);  // an exchange would replace it
    }
    if (existing && exchange()) {
      return Step::exchanged;
    }
    rename();
    return existing ? Step::overwritten : Step::created;
  }

  void undo(Step step) {
    if (!isStillNamed(file, target)) {
      return;  // another process has replaced it in the meantime
    }
    switch (step) {
      case Step::created:
        unlink(target.path().c_str());
        break;
      case Step::exchanged:
        renameat2(AT_FDCWD, auxiliary.path().c_str(), AT_FDCWD, target.path().c_str(), RENAME_EXCHANGE);
        break;
      case Step::overwritten:
        break;
    }
  }
};

AtomicFile::AtomicFile(const FileURL& target, Durability durability)
    : replacement_(std::make_unique<Replacement>(target, durability)) {}

AtomicFile::~AtomicFile() = default;

void AtomicFile::write(std::span<const std::byte> bytes) { replacement_->write(bytes); }

void AtomicFile::commit() { replacement_->commit(); }

namespace {

void removeUnlessInUse(int folder, const char* name) {
  const OwnedDescriptor file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (file && fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
      flock(file.number(), LOCK_EX | LOCK_NB) == 0) {
    unlinkat(folder, name, 0);
  }
}

void removeLeftoversOf(const FileURL& target) {
  const FolderStream folder = folderStream(openFolder(target.deletingLastPathComponent()));
  if (!folder) {
    return;
  }
  const std::string prefix = auxiliaryPrefix(target);
  while (const dirent* entry = readdir(folder.get())) {
    if (isAuxiliaryName(entry->d_name, prefix)) {
      removeUnlessInUse(dirfd(folder.get()), entry->d_name);
    }
  }
}

}  // namespace

void AtomicFile::removeLeftovers(const FileURL& target) noexcept {
  try {
    removeLeftoversOf(followingLinks(target));
  } catch (const std::exception&) {
    return;  // the folder can't be read; a later call removes the leftovers
  }
}

}  // namespace tolvander
