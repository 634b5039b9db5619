#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace tolvander::platform::linux_ {

// What udev knows of a block device, and of the drive that it is or is a partition of. Each value is absent,
// or false, where nobody knows: a container has no udev, and most drives that stay in the machine are marked
// in no way.
struct Drive {
  std::optional<std::string> label;  // of the device's file system, UTF-8
  std::optional<std::string> uuid;   // of the device's file system, as udev spells it
  std::optional<std::string> bus;    // "usb", "ata", "mmc", …
  dev_t disk = 0;                    // the whole drive's number, the device's own when it is no partition
  bool isRemovable = false;          // the drive is plugged in, or its medium can be taken out
  bool isEjectable = false;          // the drive can put its medium out
  bool isGone = false;               // it was pulled out; what is mounted of it stays in the mount table

  // Asks udev's database and the kernel's; where udev hasn't recorded the device, the links in /dev/disk that
  // it may have left stand in. Blocks shortly, without touching the drive; safe on every thread.
  static Drive ofDevice(dev_t number);

  friend bool operator==(const Drive&, const Drive&) = default;
};

}  // namespace tolvander::platform::linux_
