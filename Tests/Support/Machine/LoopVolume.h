#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tests/Support/Machine/LoopDevice.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A real file system on a loop device, mounted below a temporary folder, for tests with drives. Removed,
// with its image, at its end. Needs root. Created within inPrivateMountNamespace, it is invisible to other
// processes.
class LoopVolume {
 public:
  enum class Format {
    ext4,
    exfat,  // by FUSE if the kernel has no exFAT
  };

  // Why such a volume is not available; absent if it is.
  static std::optional<std::string> reasonAgainst(Format format);

  // `label` is UTF-8, at most 15 characters. Throws std::runtime_error.
  LoopVolume(Format format, std::string_view label, std::int64_t bytes = std::int64_t{32} << 20U);
  ~LoopVolume();
  LoopVolume(const LoopVolume&) = delete;
  LoopVolume& operator=(const LoopVolume&) = delete;

  const FileURL& mountPoint() const { return mountPoint_; }
  const FileURL& device() const { return device_.url(); }

  // Unmounts properly, and mounts again at the same path.
  void remount();

  // Removes the volume as if it were unplugged: afterwards the mount point is an empty folder.
  void unplug();

 private:
  void mount();

  TemporaryFolder folder_;
  Format format_;
  FileURL mountPoint_;
  LoopDevice device_;
  bool isMounted_ = false;
};

// Creates the file `image` with an empty file system, and returns its URL. Throws std::runtime_error.
FileURL formattedImage(const FileURL& image, LoopVolume::Format format, std::string_view label,
                       std::int64_t bytes);

}  // namespace tolvander::tests
