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

// FAT keeps what the clock of a camera showed, without a zone. The kernel's drivers make an instant of it by
// an offset of the mount; what is here undoes that, and reads the clock in a zone that suits the camera.
//
// What a mount doesn't show: an entry of an exFAT directory can carry an offset from UTC, by which the kernel
// then goes instead of the mount's (computers and telephones write it, cameras whose clock has no zone do
// not). Such a date counts as a clock's reading here all the same and comes out wrong by the zone's offset;
// only the raw directory, which needs access to the block device, would tell. Drivers that run in a user's
// process (exfat-fuse, fusefat) convert by rules of their own that no mount shows; their dates are left as
// they are.

// By how much the driver takes the clock of this file system to be ahead of UTC. Absent where it isn't a FAT
// of the kernel's (vfat, msdos, exfat). `kernelZone` is what the kernel's own zone is ahead of UTC.
//
// The formats are those of fs/fat/inode.c and fs/exfat/super.c: vfat shows "tz=UTC" or "time_offset=MINUTES"
// and goes by the kernel's zone without them; exfat shows "sys_tz" for the kernel's zone or "time_offset=",
// and takes UTC without them.
std::optional<std::chrono::minutes> fatClockOffset(const Mount& mount, std::chrono::minutes kernelZone);

// What the kernel's own zone (settimeofday(2)) is ahead of UTC. 0 unless the hardware clock runs in local
// time.
std::chrono::minutes kernelZoneOffset();

// The instant at which a clock in `zone` shows what it shows `clockOffset` ahead of UTC at `instant`. Absent
// where a Date can't reach it.
std::optional<Date> dateOfFATClock(Date instant, std::chrono::minutes clockOffset, const TimeZone& zone);

// The clocks of the FATs that are mounted now. Reads the mount table once and again after each change to it,
// so that asking for every file of a large card costs one poll(2) a file. Safe on every thread.
class FATClocks {
 public:
  // The one for this process's mounts.
  static FATClocks& ofThisProcess();

  explicit FATClocks(FileURL mountTable = MountTable::ofThisProcess()) : mountTable_(std::move(mountTable)) {}

  // fatClockOffset for the mount of a file's st_dev. Absent also where the mount table can't be read.
  std::optional<std::chrono::minutes> offsetOf(dev_t device);

 private:
  bool hasTableChanged();
  void readTable();

  const FileURL mountTable_;
  std::mutex mutex_;
  OwnedDescriptor changes_;  // the mount table, open: poll(2) reports each change once
  std::map<dev_t, Mount> fats_;
};

}  // namespace tolvander::platform::linux_
