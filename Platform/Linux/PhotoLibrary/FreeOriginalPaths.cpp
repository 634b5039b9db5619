#include "Platform/Linux/PhotoLibrary/FreeOriginalPaths.h"

#include <sys/stat.h>

#include "Platform/Linux/PhotoLibrary/OriginalNames.h"

namespace tolvander::platform::linux_ {

bool FreeOriginalPaths::isTaken(const std::string& path) const {
  struct stat status {};
  return chosenKeys_.contains(originalNameKey(path)) || catalogue_->hasPath(path) ||
         catalogue_->intendsPath(path) || lstat(folder_->url().appending(path).path().c_str(), &status) == 0;
}

// Doubles the number until a variant is free, then bisects, because cameras can give thousands of files the
// same name. The result is free, and the variant before it is taken.
std::string FreeOriginalPaths::choose(const std::string& folder, const std::string& name) {
  const auto path = [&](int choice) { return folder + "/" + originalName(name, choice); };
  int taken = 0;
  int free = 1;
  while (isTaken(path(free))) {
    taken = free;
    free *= 2;
  }
  while (free - taken > 1) {
    const int middle = taken + (free - taken) / 2;
    (isTaken(path(middle)) ? taken : free) = middle;
  }
  chosenKeys_.insert(originalNameKey(path(free)));
  return path(free);
}

}  // namespace tolvander::platform::linux_
