#include "Platform/Linux/Files/LockedFile.h"

#include <sys/stat.h>

namespace tolvander::platform::linux_ {

bool isStillNamed(const Descriptor& file, const FileURL& url) {
  struct stat opened {};
  struct stat named {};
  return fstat(file.number(), &opened) == 0 && lstat(url.path().c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

Descriptor openAndLock(const FileURL& url, const std::function<Descriptor()>& open,
                       const std::function<bool(const Descriptor&)>& lock) {
  while (true) {
    Descriptor file = open();
    if (!lock(file)) {
      return Descriptor();
    }
    if (isStillNamed(file, url)) {
      return file;
    }
  }
}

}  // namespace tolvander::platform::linux_
