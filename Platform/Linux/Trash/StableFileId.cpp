#include "Platform/Linux/Trash/StableFileId.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander::platform::linux_ {

namespace {

// Magic numbers that <linux/magic.h> doesn't have (statfs(2)).
constexpr std::uint32_t zfsMagic = 0x2FC1'2FC1;

// File systems that store inode numbers on the disk. The FAT drivers and most FUSE drivers assign new ones
// at every mount.
constexpr std::array fileSystemsKeepingNumbers = std::to_array<std::uint32_t>(
    {EXT4_SUPER_MAGIC, BTRFS_SUPER_MAGIC, XFS_SUPER_MAGIC, F2FS_SUPER_MAGIC, TMPFS_MAGIC, zfsMagic});

bool keepsNumbers(std::uint32_t fileSystem) {
  return std::ranges::find(fileSystemsKeepingNumbers, fileSystem) != fileSystemsKeepingNumbers.end();
}

app::FileStatus::Kind kindOf(mode_t mode) {
  using Kind = app::FileStatus::Kind;
  return S_ISREG(mode)   ? Kind::regularFile
         : S_ISDIR(mode) ? Kind::directory
         : S_ISLNK(mode) ? Kind::symbolicLink
                         : Kind::other;
}

// The SHA-256 of the file's first 64 KiB, or of all of a smaller file.
SHA256::Digest digestOfBeginning(const OwnedDescriptor& file, const FileURL& url) {
  constexpr std::size_t sampleSize = 65'536;
  const std::unique_ptr<std::byte[]> memory(new std::byte[sampleSize]);
  const std::size_t size = readFullyAt(file, 0, {memory.get(), sampleSize}, url);
  return SHA256::hash(std::span(memory.get(), size));
}

std::uint64_t idOfContent(const OwnedDescriptor& file, const app::FileStatus& status, const FileURL& url) {
  // FAT stores modification times with a resolution of two seconds; before a remount the kernel returns a
  // finer time.
  constexpr std::int64_t coarsestStep = 2;
  const std::array fields{status.birthSeconds, status.birthNanoseconds,
                          status.modificationSeconds / coarsestStep, status.size};
  SHA256 hash;
  hash.update(std::as_bytes(std::span(fields)));
  hash.update(digestOfBeginning(file, url));
  const SHA256::Digest digest = hash.finish();
  std::uint64_t number = 0;
  std::memcpy(&number, digest.data(), sizeof number);
  return number;
}

}  // namespace

std::optional<app::FileStatus> fileStatus(int descriptor, const std::string& name) {
  struct statx status {};
  const int flags = AT_SYMLINK_NOFOLLOW | (name.empty() ? AT_EMPTY_PATH : 0);
  if (statx(descriptor, name.c_str(), flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
    return std::nullopt;
  }
  const bool hasBirth = (status.stx_mask & STATX_BTIME) != 0;
  return app::FileStatus{.kind = kindOf(status.stx_mode),
                         .device = makedev(status.stx_dev_major, status.stx_dev_minor),
                         .inode = status.stx_ino,
                         .linkCount = status.stx_nlink,
                         .size = static_cast<std::int64_t>(status.stx_size),
                         .modificationSeconds = status.stx_mtime.tv_sec,
                         .modificationNanoseconds = status.stx_mtime.tv_nsec,
                         .birthSeconds = hasBirth ? status.stx_btime.tv_sec : 0,
                         .birthNanoseconds = hasBirth ? status.stx_btime.tv_nsec : 0};
}

std::uint64_t stableFileId(const OwnedDescriptor& file, const FileURL& url) {
  struct statfs fileSystem {};
  const auto status = fileStatus(file.number(), "");
  if (!status || fstatfs(file.number(), &fileSystem) != 0) {
    throw PosixError(errno, "identify", url);
  }
  return keepsNumbers(static_cast<std::uint32_t>(fileSystem.f_type)) ? status->inode
                                                                     : idOfContent(file, *status, url);
}

std::optional<std::string> stableFileSystemId(const FileURL& directory) {
  struct statfs fileSystem {};
  struct statvfs status {};
  if (statfs(directory.path().c_str(), &fileSystem) != 0 || statvfs(directory.path().c_str(), &status) != 0 ||
      status.f_fsid == 0 || !keepsNumbers(static_cast<std::uint32_t>(fileSystem.f_type))) {
    return std::nullopt;
  }
  return "file system " + std::to_string(status.f_fsid);
}

}  // namespace tolvander::platform::linux_
