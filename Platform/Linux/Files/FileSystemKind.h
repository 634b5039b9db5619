#pragma once

#include <linux/magic.h>
#include <sys/vfs.h>

namespace tolvander::platform::linux_ {

// Whether an open file or folder lies on a FAT that the kernel itself reads (vfat, msdos, exfat).
inline bool isOnFAT(int descriptor) {
  struct statfs fileSystem {};
  return fstatfs(descriptor, &fileSystem) == 0 &&
         (fileSystem.f_type == MSDOS_SUPER_MAGIC || fileSystem.f_type == EXFAT_SUPER_MAGIC);
}

// FUSE drivers, those on a block device included.
inline bool isInUserSpace(int descriptor) {
  struct statfs fileSystem {};
  return fstatfs(descriptor, &fileSystem) == 0 && fileSystem.f_type == FUSE_SUPER_MAGIC;
}

}  // namespace tolvander::platform::linux_
