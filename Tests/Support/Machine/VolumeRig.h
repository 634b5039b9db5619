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

// A place to plug up to ten drives into: a udevd, a system bus and a udisksd of its own, for which the rig's
// loop devices are cards in a USB reader, in mounts, a network and processes that nobody else sees. What is
// left when the test ends, or dies, goes with it.
class VolumeRig {
 public:
  ~VolumeRig();
  VolumeRig(const VolumeRig&) = delete;
  VolumeRig& operator=(const VolumeRig&) = delete;

  // Plugs in a card with an empty file system, and returns its device once udev knows it. It isn't mounted.
  // Throws std::runtime_error like all operations here.
  FileURL plugIn(LoopVolume::Format format, std::string_view label);

  // Plugs in a card with two partitions that have an empty ext4 each, and returns the devices of these.
  std::vector<FileURL> plugInWithTwoPartitions(std::string_view firstLabel, std::string_view secondLabel);

  // Has udisks mount the device below /media, and returns the mount point.
  FileURL mount(const FileURL& device);

  // Has udisks unmount the device in good order.
  void unmount(const FileURL& device);

  // Takes a mounted volume away from its place, though files of it may be open.
  static void unmountLazily(const FileURL& mountPoint);

  // Whether there is still a medium in the drive of this device, which plugIn has returned.
  static bool hasMedium(const FileURL& device);

  // Pulls the drive out, with what is mounted of it.
  void unplug(const FileURL& device);

 private:
  friend void inVolumeRig(const std::function<void(VolumeRig&)>& body);
  explicit VolumeRig(int firstDrive);

  FileURL attach(const FileURL& image, int number);

  TemporaryFolder folder_;
  std::map<FileURL, std::unique_ptr<LoopDevice>> drives_;
  int nextDrive_;
};

// Why there can't be a rig here, with such volumes; absent when there can.
std::optional<std::string> reasonAgainstVolumeRig();

// Runs `body` in a child process in a new rig, whose system bus is the child's (DBUS_SYSTEM_BUS_ADDRESS). An
// expectation that fails there, an exception, or a death of the child is a failure of the calling test.
void inVolumeRig(const std::function<void(VolumeRig&)>& body);

}  // namespace tolvander::tests
