#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A USB stick of the virtual machine: a drive with one partition, which the kernel's own FAT drivers read.
// One can be plugged in at a time. All operations throw std::runtime_error.
class Stick {
 public:
  enum class Format { vfat, exfat };

  // What the drive says of itself: sticks have a medium that can be taken out, most of them; disks don't.
  enum class Medium { removable, fixed };

  // Plugs it in with an empty file system called CHARMERA.
  explicit Stick(Format format, Medium medium = Medium::removable);
  // Pulls it out.
  ~Stick();
  Stick(const Stick&) = delete;
  Stick& operator=(const Stick&) = delete;

  // The partition: "/dev/sda1".
  FileURL device() const;
  bool isPluggedIn() const;
  bool hasMedium() const;

  // By udisks, as a desktop does it; returns the mount point.
  FileURL mount() const;
  // By mount(8) with these options. The mount point is the same each time.
  FileURL mount(const std::string& options) const;
  void unmount() const;

  // As a hand does it, whatever is mounted of it. What is mounted stays so until unmount.
  void pullOut();
  void plugIn();

 private:
  Format format_;
  Medium medium_;
  bool isAttached_ = false;
  std::string node_;  // the image's name in the machine's monitor
};

// "vfat" or "exfat".
std::string nameOf(Stick::Format format);

}  // namespace tolvander::tests
