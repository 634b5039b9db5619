#pragma once

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Sees whether anybody opens a file from now on.
class OpenWatch {
 public:
  explicit OpenWatch(const FileURL& url);
  ~OpenWatch();
  OpenWatch(const OpenWatch&) = delete;
  OpenWatch& operator=(const OpenWatch&) = delete;

  bool wasOpened() const;

 private:
  int descriptor_;
};

}  // namespace tolvander::tests
