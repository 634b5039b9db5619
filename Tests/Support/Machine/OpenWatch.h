#pragma once

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Detects whether a file was opened since this object was created (inotify(7)).
class OpenWatch {
 public:
  explicit OpenWatch(const FileURL& url);

  bool wasOpened() const;

 private:
  OwnedDescriptor events_;  // of inotify
};

}  // namespace tolvander::tests
