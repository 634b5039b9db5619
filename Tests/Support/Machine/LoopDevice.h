#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A file as a block device. Needs root.
class LoopDevice {
 public:
  // At any free device. Throws std::runtime_error when that fails.
  explicit LoopDevice(const FileURL& image);

  // At the first number from `first` on that no device has yet; the device is made, and is removed in the
  // end.
  LoopDevice(const FileURL& image, int first);

  ~LoopDevice();
  LoopDevice(const LoopDevice&) = delete;
  LoopDevice& operator=(const LoopDevice&) = delete;

  // Why there are none here; absent when there are.
  static std::optional<std::string> reasonAgainst();

  // Removes a device that a process which died has made, if it has.
  static void removeNumbered(int number);

  const FileURL& url() const { return url_; }

  // While a file system still has it open, the kernel puts this off until the last one closes it.
  void detach();

 private:
  bool attach(const FileURL& image);

  FileURL url_;
  std::optional<int> madeNumber_;
  bool isAttached_ = false;
};

}  // namespace tolvander::tests
