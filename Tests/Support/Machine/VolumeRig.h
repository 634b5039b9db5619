#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tests/Support/Machine/LoopDevice.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Up to ten virtual drives: a udevd, a system bus and a udisksd that treat loop devices as cards in a USB
// reader, in private mount, network and process namespaces. Everything is removed when the test ends or
// dies.
class VolumeRig {
 public:
  ~VolumeRig();
  VolumeRig(const VolumeRig&) = delete;
  VolumeRig& operator=(const VolumeRig&) = delete;

  // Plugs in a card with an empty file system, and returns its device when udev knows it. It isn't mounted.
  // Throws std::runtime_error, like all operations here.
  FileURL plugIn(LoopVolume::Format format, std::string_view label);

  // Plugs in a card with two partitions with an empty ext4 each, and returns their devices.
  std::vector<FileURL> plugInWithTwoPartitions(std::string_view firstLabel, std::string_view secondLabel);

  // Lets udisks mount the device below /media, and returns the mount point.
  FileURL mount(const FileURL& device);

  // Lets udisks unmount the device.
  void unmount(const FileURL& device);

  // Detaches a mounted volume from its mount point, even with open files.
  static void unmountLazily(const FileURL& mountPoint);

  // Whether the drive of this device, which plugIn returned, still has its medium.
  static bool hasMedium(const FileURL& device);

  // Unplugs the drive while it is mounted.
  void unplug(const FileURL& device);

 private:
  friend void inVolumeRig(const std::function<void(VolumeRig&)>& body);
  explicit VolumeRig(int firstDrive);

  FileURL attach(const FileURL& image, int number);

  TemporaryFolder folder_;
  std::map<FileURL, std::unique_ptr<LoopDevice>> drives_;
  int nextDrive_;
};

// Why such a rig is not available; absent if it is.
std::optional<std::string> reasonAgainstVolumeRig();

// Runs `body` in a child process in a new rig, with its system bus (DBUS_SYSTEM_BUS_ADDRESS). A failed
// expectation or an exception there, or a crash of the child, is a failure of the calling test.
void inVolumeRig(const std::function<void(VolumeRig&)>& body);

}  // namespace tolvander::tests
