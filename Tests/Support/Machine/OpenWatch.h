#pragma once

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Sees whether anybody opens a file from now on.
class OpenWatch {
 public:
  explicit OpenWatch(const FileURL& url);

  bool wasOpened() const;

 private:
  OwnedDescriptor events_;  // of inotify
};

}  // namespace tolvander::tests
