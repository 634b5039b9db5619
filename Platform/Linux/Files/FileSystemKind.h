#pragma once

#include <linux/magic.h>
#include <sys/vfs.h>

namespace tolvander::platform::linux_ {

// Whether an open file or folder is on a FAT that a kernel driver reads (vfat, msdos, exfat).
inline bool isOnFAT(int descriptor) {
  struct statfs fileSystem {};
  return fstatfs(descriptor, &fileSystem) == 0 &&
         (fileSystem.f_type == MSDOS_SUPER_MAGIC || fileSystem.f_type == EXFAT_SUPER_MAGIC);
}

// Whether it is on a FUSE file system, including those on a block device.
inline bool isInUserSpace(int descriptor) {
  struct statfs fileSystem {};
  return fstatfs(descriptor, &fileSystem) == 0 && fileSystem.f_type == FUSE_SUPER_MAGIC;
}

}  // namespace tolvander::platform::linux_
