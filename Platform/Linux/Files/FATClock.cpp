#include "Platform/Linux/Files/FATClock.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>

#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

// The value of an option NAME=VALUE; "" if it has none; absent without the option.
std::optional<std::string_view> valueOf(std::string_view name, std::string_view options) {
  while (!options.empty()) {
    const std::size_t end = std::min(options.find(','), options.size());
    const std::string_view option = options.substr(0, end);
    const std::size_t nameEnd = std::min(option.find('='), option.size());
    if (option.substr(0, nameEnd) == name) {
      return option.substr(std::min(nameEnd + 1, option.size()));
    }
    options.remove_prefix(std::min(end + 1, options.size()));
  }
  return std::nullopt;
}

// The value of time_offset=MINUTES; absent without it.
std::optional<std::chrono::minutes> timeOffset(std::string_view options) {
  const auto text = valueOf("time_offset", options);
  int minutes = 0;
  if (!text || std::from_chars(text->data(), text->data() + text->size(), minutes).ec != std::errc()) {
    return std::nullopt;
  }
  return std::chrono::minutes(minutes);
}

bool isFAT(const Mount& mount) {
  return mount.fileSystem == "vfat" || mount.fileSystem == "msdos" || mount.fileSystem == "exfat";
}

}  // namespace

std::optional<std::chrono::minutes> fatClockOffset(const Mount& mount, std::chrono::minutes kernelZone) {
  if (!isFAT(mount)) {
    return std::nullopt;
  }
  const std::string_view options = mount.superOptions;
  if (const auto offset = timeOffset(options)) {
    return offset;
  }
  const bool goesByTheKernel =
      mount.fileSystem == "exfat" ? valueOf("sys_tz", options).has_value() : valueOf("tz", options) != "UTC";
  return goesByTheKernel ? kernelZone : std::chrono::minutes(0);
}

std::chrono::minutes kernelZoneOffset() {
  // gettimeofday of glibc 2.31 and later always returns a zone of 0.
  struct timezone zone {};
  return syscall(SYS_gettimeofday, nullptr, &zone) == 0 ? std::chrono::minutes(-zone.tz_minuteswest)
                                                        : std::chrono::minutes(0);
}

std::optional<Date> dateOfFATClock(Date instant, std::chrono::minutes clockOffset, const TimeZone& zone) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(instant);
  const auto date = dateFromLocalDateTime(seconds + clockOffset, zone);
  return date ? std::optional(*date + (instant - seconds)) : std::nullopt;
}

FATClocks& FATClocks::ofThisProcess() {
  static FATClocks clocks;
  return clocks;
}

std::optional<std::chrono::minutes> FATClocks::offsetOf(dev_t device) {
  const std::lock_guard lock(mutex_);
  if (hasTableChanged()) {
    readTable();
  }
  const auto fat = fats_.find(device);
  return fat != fats_.end() ? fatClockOffset(fat->second, kernelZoneOffset()) : std::nullopt;
}

// Also true for the first call. The descriptor must be opened before the table is read, because changes
// before that aren't reported.
bool FATClocks::hasTableChanged() {
  if (!changes_) {
    changes_ =
        OwnedDescriptor(retryOnEINTR([&] { return open(mountTable_.path().c_str(), O_RDONLY | O_CLOEXEC); }));
    return true;
  }
  pollfd change{.fd = changes_.number(), .events = POLLPRI, .revents = 0};
  return poll(&change, 1, 0) > 0;
}

void FATClocks::readTable() {
  fats_.clear();
  try {
    const MountTable table = MountTable::read(mountTable_);
    for (const Mount& mount : table.mounts()) {
      if (isFAT(mount)) {
        fats_.emplace(mount.device, mount);
      }
    }
  } catch (const PosixError&) {
    changes_ = OwnedDescriptor();  // retried for the next file
  }
}

}  // namespace tolvander::platform::linux_
