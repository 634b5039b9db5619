#include "Platform/Linux/Mounts/Drive.h"

#include <libudev.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "Platform/Linux/Foundation/CHandleDeleter.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::platform::linux_ {

namespace {

using Udev = std::unique_ptr<udev, CHandleDeleter<udev_unref>>;
using UdevDevice = std::unique_ptr<udev_device, CHandleDeleter<udev_device_unref>>;

std::optional<unsigned> hexadecimalDigit(char character) {
  constexpr std::string_view digits = "0123456789abcdef";
  const std::size_t value = digits.find(character);
  return value != std::string_view::npos ? std::optional(static_cast<unsigned>(value)) : std::nullopt;
}

// udev encodes special characters of a label as "\x20", one byte each.
std::string decodedByUdevsRules(std::string_view text) {
  std::string decoded;
  while (!text.empty()) {
    if (text.size() >= 4 && text.starts_with("\\x")) {
      const auto high = hexadecimalDigit(text[2]);
      const auto low = hexadecimalDigit(text[3]);
      if (high && low) {
        decoded += static_cast<char>(*high * 16 + *low);
        text.remove_prefix(4);
        continue;
      }
    }
    decoded += text.front();
    text.remove_prefix(1);
  }
  return decoded;
}

std::optional<std::string> someText(const char* text) {
  return text != nullptr && *text != '\0' ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::string> property(udev_device* device, const char* key) {
  return someText(udev_device_get_property_value(device, key));
}

std::optional<std::string> attribute(udev_device* device, const char* name) {
  return someText(udev_device_get_sysattr_value(device, name));
}

// The name, encoded by udev, of the link to the device in a folder of /dev/disk.
std::optional<std::string> nameOfLink(const FileURL& folder, dev_t device) {
  auto links = DirectoryEnumerator::at(folder);
  for (auto link = links ? links->next() : std::nullopt; link; link = links->next()) {
    struct stat status {};
    if (stat(link->path().c_str(), &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == device) {
      return std::string(link->lastPathComponent());
    }
  }
  return std::nullopt;
}

bool isUTF8(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(nullptr, 0, nullptr, text.data(), static_cast<std::int32_t>(text.size()), &status);
  return status != U_INVALID_CHAR_FOUND;
}

// Decodes a label; absent if it isn't UTF-8, because old cameras use a code page.
std::optional<std::string> decodedLabel(const std::optional<std::string>& encoded) {
  if (encoded) {
    std::string label = decodedByUdevsRules(*encoded);
    if (isUTF8(label)) {
      return label;
    }
  }
  return std::nullopt;
}

// The drive of a partition, or the device itself. Valid as long as `device`.
udev_device* diskOf(udev_device* device) {
  udev_device* const disk = udev_device_get_parent_with_subsystem_devtype(device, "block", "disk");
  return disk != nullptr ? disk : device;
}

bool isPluggedIntoUSB(udev_device* disk) {
  return udev_device_get_parent_with_subsystem_devtype(disk, "usb", nullptr) != nullptr ||
         property(disk, "ID_BUS") == "usb";
}

// A card in a built-in slot, which the kernel doesn't mark as removable. Soldered chips of this kind have
// the type "MMC".
bool isCardInASlot(udev_device* disk) {
  udev_device* const card = udev_device_get_parent_with_subsystem_devtype(disk, "mmc", nullptr);
  return card != nullptr && attribute(card, "type") == "SD";
}

bool isMarkedAsCard(udev_device* disk) {
  constexpr std::array marks{"ID_DRIVE_FLASH_CF",   "ID_DRIVE_FLASH_MS",   "ID_DRIVE_FLASH_SM",
                             "ID_DRIVE_FLASH_SD",   "ID_DRIVE_FLASH_SDHC", "ID_DRIVE_FLASH_SDXC",
                             "ID_DRIVE_FLASH_SDIO", "ID_DRIVE_FLASH_MMC",  "ID_DRIVE_FLASH"};
  return std::ranges::any_of(marks, [&](const char* mark) { return property(disk, mark) == "1"; });
}

std::optional<std::string> busOf(udev_device* disk) {
  if (auto bus = property(disk, "ID_BUS")) {
    return bus;
  }
  for (const char* const subsystem : {"usb", "mmc", "nvme"}) {
    if (udev_device_get_parent_with_subsystem_devtype(disk, subsystem, nullptr) != nullptr) {
      return subsystem;
    }
  }
  return std::nullopt;
}

Drive valuesFromUdev(dev_t number) {
  Drive drive;
  drive.disk = number;
  const Udev database(udev_new());
  const UdevDevice device(database ? udev_device_new_from_devnum(database.get(), 'b', number) : nullptr);
  if (!device) {
    return drive;
  }
  drive.label = decodedLabel(property(device.get(), "ID_FS_LABEL_ENC"));
  if (!drive.label) {
    drive.label = property(device.get(), "ID_FS_LABEL");  // has "_" instead of special characters
  }
  drive.uuid = property(device.get(), "ID_FS_UUID");

  udev_device* const disk = diskOf(device.get());
  drive.bus = busOf(disk);
  drive.disk = udev_device_get_devnum(disk);
  drive.isEjectable = property(disk, "ID_DRIVE_EJECTABLE") == "1" || property(disk, "ID_CDROM") == "1";
  drive.isRemovable = attribute(disk, "removable") == "1" || isPluggedIntoUSB(disk) || isCardInASlot(disk) ||
                      isMarkedAsCard(disk) || property(disk, "ID_DRIVE_DETACHABLE") == "1";
  return drive;
}

// False if it can't be examined, unlike !fileExists.
bool isMissing(const FileURL& url) {
  struct stat status {};
  return ::lstat(url.path().c_str(), &status) != 0 && errno == ENOENT;
}

// Whether sysfs lists block devices, but not this one.
bool isGone(dev_t number) {
  const FileURL devices("/sys/dev/block");
  return fileExists(devices) &&
         isMissing(devices.appending(std::to_string(major(number)) + ":" + std::to_string(minor(number))));
}

}  // namespace

Drive Drive::ofDevice(dev_t number) {
  Drive drive = valuesFromUdev(number);
  drive.isGone = linux_::isGone(number);
  if (!drive.uuid) {
    // Containers without udev have the links of the host's udev in /dev/disk.
    drive.label = decodedLabel(nameOfLink(FileURL("/dev/disk/by-label"), number));
    drive.uuid = nameOfLink(FileURL("/dev/disk/by-uuid"), number);
  }
  return drive;
}

}  // namespace tolvander::platform::linux_
