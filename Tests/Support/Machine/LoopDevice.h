#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A file as a block device. Needs root.
class LoopDevice {
 public:
  // Uses any free device. Throws std::runtime_error.
  explicit LoopDevice(const FileURL& image);

  // Creates a device with the first unused number from `first` on, and removes it at its end.
  LoopDevice(const FileURL& image, int first);

  ~LoopDevice();
  LoopDevice(const LoopDevice&) = delete;
  LoopDevice& operator=(const LoopDevice&) = delete;

  // Why loop devices are not available; absent if they are.
  static std::optional<std::string> reasonAgainst();

  // Removes a device that a killed process has created, if there is one.
  static void removeNumbered(int number);

  const FileURL& url() const { return url_; }

  // The kernel delays this until no file system has the device open.
  void detach();

 private:
  bool attach(const FileURL& image);

  FileURL url_;
  std::optional<int> madeNumber_;
  bool isAttached_ = false;
};

}  // namespace tolvander::tests
