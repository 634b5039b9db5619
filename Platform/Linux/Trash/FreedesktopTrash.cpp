#include "Platform/Linux/Trash/FreedesktopTrash.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "Platform/Linux/Trash/PathDescriptor.h"
#include "Platform/Linux/Trash/StableFileId.h"
#include "Platform/Linux/Trash/TrashFolder.h"
#include "Platform/Linux/Trash/TrashInfo.h"
#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::platform::linux_ {

namespace {

class ReadingFile final : public app::FileDescriptor {
 public:
  ReadingFile(OwnedDescriptor descriptor, FileURL url)
      : descriptor_(std::move(descriptor)), url_(std::move(url)) {}

  app::FileStatus status() override {
    const auto status = fileStatus(descriptor_.number(), "");
    require(status.has_value(), "look at");
    return *status;
  }

  std::uint64_t fileNumber() override { return stableFileId(descriptor_, url_); }

  void seekToStart() override { require(lseek(descriptor_.number(), 0, SEEK_SET) == 0, "rewind"); }

  std::size_t read(std::span<std::byte> buffer) override { return readFully(descriptor_, buffer, url_); }

 private:
  void require(bool success, std::string_view operation) const {
    if (!success) {
      throw PosixError(errno, operation, url_);
    }
  }

  OwnedDescriptor descriptor_;
  FileURL url_;
};

bool isMountPoint(const FileURL& directory) {
  struct statx status {};
  if (statx(AT_FDCWD, directory.path().c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) != 0) {
    throw PosixError(errno, "look at", directory);
  }
  return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

}  // namespace

std::unique_ptr<app::DirectoryDescriptor> FreedesktopTrash::openRootDirectory() {
  return std::make_unique<PathDescriptor>(PathDescriptor::open(AT_FDCWD, "/", FileURL("/")));
}

std::unique_ptr<app::DirectoryDescriptor> FreedesktopTrash::openDirectory(
    const app::DirectoryDescriptor& parent, const std::string& name) {
  return std::make_unique<PathDescriptor>(PathDescriptor::of(parent).openDirectory(name));
}

std::unique_ptr<app::FileDescriptor> FreedesktopTrash::openFile(const app::DirectoryDescriptor& parent,
                                                                const std::string& name) {
  const PathDescriptor& folder = PathDescriptor::of(parent);
  FileURL url = folder.url().appending(name);
  OwnedDescriptor file(retryOnEINTR([&] {
    return openat(folder.number(), name.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
  }));
  if (!file) {
    throw PosixError(errno, "open", url);
  }
  return std::make_unique<ReadingFile>(std::move(file), std::move(url));
}

app::FileStatus FreedesktopTrash::status(const app::DirectoryDescriptor& parent, const std::string& name) {
  const PathDescriptor& folder = PathDescriptor::of(parent);
  const auto status = fileStatus(folder.number(), name);
  if (!status) {
    throw PosixError(errno, "look at", folder.url().appending(name));
  }
  return *status;
}

void FreedesktopTrash::renameExclusively(const app::DirectoryDescriptor& from, const std::string& name,
                                         const app::DirectoryDescriptor& to, const std::string& newName) {
  const PathDescriptor& source = PathDescriptor::of(from);
  const PathDescriptor& target = PathDescriptor::of(to);
  auto trash = TrashFolder::ofFiles(source);
  auto otherTrash = TrashFolder::ofFiles(target);
  if (trash && otherTrash && trash->isSameAs(*otherTrash)) {
    trash->rename(name, newName);
  } else if (trash) {
    trash->moveOut(name, target, newName);
  } else if (otherTrash) {
    if (!otherTrash->moveIn(source, name, newName)) {
      throw PosixError(EEXIST, "rename without replacing", source.url().appending(name));
    }
  } else {
    moveExclusively(source.number(), name, target.number(), newName, source.url().appending(name));
  }
}

void FreedesktopTrash::remove(const app::DirectoryDescriptor& parent, const std::string& name) {
  const PathDescriptor& folder = PathDescriptor::of(parent);
  if (auto trash = TrashFolder::ofFiles(folder)) {
    trash->remove(name);
  } else if (unlinkat(folder.number(), name.c_str(), 0) != 0) {
    throw PosixError(errno, "remove", folder.url().appending(name));
  }
}

FileURL FreedesktopTrash::trashDirectory(const FileURL& place, bool create) {
  if (auto files = TrashFolder::enclosingFilesFolder(place)) {
    return *std::move(files);
  }
  return TrashFolder::filesFolderAt(place, create);
}

std::optional<FileURL> FreedesktopTrash::trashItem(const app::DirectoryDescriptor& parent,
                                                   const std::string& name,
                                                   const app::DirectoryDescriptor& trash) {
  constexpr unsigned mostAttempts = 10'000;
  const PathDescriptor& source = PathDescriptor::of(parent);
  const PathDescriptor& files = PathDescriptor::of(trash);
  auto folder = TrashFolder::ofFiles(files);
  if (!folder) {
    throw PosixError(EPERM, "use the Trash", files.url());
  }
  for (unsigned attempt = 1; attempt <= mostAttempts; ++attempt) {
    const std::string newName = nameInTrash(name, attempt);
    if (folder->moveIn(source, name, newName)) {
      return files.url().appending(newName);
    }
  }
  throw PosixError(EEXIST, "find a free name in the Trash for", source.url().appending(name));
}

std::vector<app::TrashedItem> FreedesktopTrash::trashedItems(const app::DirectoryDescriptor& trash) {
  const PathDescriptor& files = PathDescriptor::of(trash);
  const auto folder = TrashFolder::ofFiles(files);
  if (!folder) {
    throw PosixError(EPERM, "use the Trash", files.url());
  }
  return folder->items();
}

std::optional<std::string> FreedesktopTrash::volumeUUIDString(const FileURL& directory) {
  FileURL mountPoint = directory.standardized();
  while (!isMountPoint(mountPoint)) {
    if (mountPoint.path() == "/") {  // after a chroot into a folder that is not a mount point
      return stableFileSystemId(directory);
    }
    mountPoint = mountPoint.deletingLastPathComponent();
  }
  if (auto uuid = volumeResourceValues(mountPoint).uuid) {
    return uuid;
  }
  return mountPoint == directory.standardized() ? std::nullopt : stableFileSystemId(directory);
}

}  // namespace tolvander::platform::linux_
