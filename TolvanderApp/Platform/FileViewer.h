#pragma once

#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// The user's file manager. Belongs to the main thread.
class FileViewer {
 public:
  virtual ~FileViewer() = default;

  // Shows the folder of the files, and selects them. Nothing happens where that can't be done.
  virtual void reveal(const std::vector<FileURL>& files) = 0;
};

}  // namespace tolvander::app
