#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tests/Support/Machine/LoopDevice.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A real file system on a loop device, mounted below a temporary folder: a drive as cameras and people have
// them. Gone, with its image, when the object is. Needs root; made in inPrivateMountNamespace, it is seen by
// nobody else.
class LoopVolume {
 public:
  enum class Format {
    ext4,
    exfat,  // in a user's process, where the kernel has no exFAT
  };

  // Why such a volume can't be had here; absent when it can.
  static std::optional<std::string> reasonAgainst(Format format);

  // `label` is UTF-8, at most 15 characters. Throws std::runtime_error when a step fails.
  LoopVolume(Format format, std::string_view label, std::int64_t bytes = std::int64_t{32} << 20U);
  ~LoopVolume();
  LoopVolume(const LoopVolume&) = delete;
  LoopVolume& operator=(const LoopVolume&) = delete;

  const FileURL& mountPoint() const { return mountPoint_; }
  const FileURL& device() const { return device_.url(); }

  // Unmounts in good order and mounts again at the same place.
  void remount();

  // Takes the volume away as if its plug were pulled: the mount point is an empty folder from now on.
  void unplug();

 private:
  void mount();

  TemporaryFolder folder_;
  Format format_;
  FileURL mountPoint_;
  LoopDevice device_;
  bool isMounted_ = false;
};

// Makes the file `image` with an empty file system in it, and returns its URL again. Throws
// std::runtime_error.
FileURL formattedImage(const FileURL& image, LoopVolume::Format format, std::string_view label,
                       std::int64_t bytes);

}  // namespace tolvander::tests
