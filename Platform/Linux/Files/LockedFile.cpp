#include "Platform/Linux/Files/LockedFile.h"

#include <sys/stat.h>

namespace tolvander::platform::linux_ {

bool isStillNamed(const OwnedDescriptor& file, const FileURL& url) {
  struct stat opened {};
  struct stat named {};
  return fstat(file.number(), &opened) == 0 && lstat(url.path().c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

OwnedDescriptor openAndLock(const FileURL& url, const std::function<OwnedDescriptor()>& open,
                            const std::function<bool(const OwnedDescriptor&)>& lock) {
  while (true) {
    OwnedDescriptor file = open();
    if (!lock(file)) {
      return OwnedDescriptor();
    }
    if (isStillNamed(file, url)) {
      return file;
    }
  }
}

}  // namespace tolvander::platform::linux_
