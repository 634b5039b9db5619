#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "Platform/Linux/Mounts/MountTable.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::platform::linux_ {

// FAT stores the local time of the camera's clock, without a time zone. The kernel's drivers convert it to
// an instant by an offset of the mount. These functions undo that, and convert the local time by a suitable
// time zone.
//
// Limits: an entry of an exFAT directory can contain an offset from UTC, which the driver then uses instead
// of the mount's (computers and phones write it, cameras without a time zone don't). Such a date is
// converted wrongly here, by the zone's offset; only reading the raw directory from the block device could
// detect it. FUSE drivers (exfat-fuse, fusefat) convert by other rules that no mount option shows; their
// dates are not changed.

// The offset from UTC that the driver assumes for the clock of this file system. Absent unless it is a FAT
// driver of the kernel (vfat, msdos, exfat). `kernelZone` is the offset of the kernel's time zone from UTC.
//
// The mount options are those of fs/fat/inode.c and fs/exfat/super.c: vfat shows "tz=UTC" or
// "time_offset=MINUTES", and otherwise uses the kernel's zone; exfat shows "sys_tz" for the kernel's zone or
// "time_offset=MINUTES", and otherwise uses UTC.
std::optional<std::chrono::minutes> fatClockOffset(const Mount& mount, std::chrono::minutes kernelZone);

// The offset of the kernel's time zone (settimeofday(2)) from UTC. 0 unless the hardware clock runs in local
// time.
std::chrono::minutes kernelZoneOffset();

// Converts `instant` to local time by `clockOffset`, and that back to an instant by `zone`. Absent if a Date
// can't represent it.
std::optional<Date> dateOfFATClock(Date instant, std::chrono::minutes clockOffset, const TimeZone& zone);

// The clock offsets of the mounted FATs. Reads the mount table again only after a change, so that each query
// costs one poll(2). Safe on every thread.
class FATClocks {
 public:
  // The instance for this process's mounts.
  static FATClocks& ofThisProcess();

  explicit FATClocks(FileURL mountTable = MountTable::ofThisProcess()) : mountTable_(std::move(mountTable)) {}

  // fatClockOffset of the file system with a file's st_dev. Absent also if the mount table can't be read.
  std::optional<std::chrono::minutes> offsetOf(dev_t device);

 private:
  bool hasTableChanged();
  void readTable();

  const FileURL mountTable_;
  std::mutex mutex_;
  OwnedDescriptor changes_;  // the open mount table; poll(2) reports each change once
  std::map<dev_t, Mount> fats_;
};

}  // namespace tolvander::platform::linux_
