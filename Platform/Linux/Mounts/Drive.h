#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace tolvander::platform::linux_ {

// Properties of a block device, and of the drive that it is or is a partition of, from udev's database. A
// value is absent or false if it is unknown: containers have no udev, and most built-in drives have no
// marks.
struct Drive {
  std::optional<std::string> label;  // of the device's file system, UTF-8
  std::optional<std::string> uuid;   // of the device's file system, in udev's format
  std::optional<std::string> bus;    // "usb", "ata", "mmc", …
  dev_t disk = 0;                    // the whole drive's number; the device's if it isn't a partition
  bool isRemovable = false;          // the drive or its medium can be removed
  bool isEjectable = false;          // the drive can eject its medium
  bool isGone = false;               // unplugged, although it may still be in the mount table

  // Reads udev's database and sysfs; if udev doesn't know the device, the links in /dev/disk. Blocks
  // shortly, without accessing the drive. Safe on every thread.
  static Drive ofDevice(dev_t number);

  friend bool operator==(const Drive&, const Drive&) = default;
};

}  // namespace tolvander::platform::linux_
