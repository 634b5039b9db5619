#include "TolvanderCore/Platform/Volume.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <libudev.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Platform/SHA256.h"
#include "TolvanderCore/SystemErrors.h"
#include "TolvanderCore/UUID.h"

namespace tolvander {

namespace {

template <auto release>
struct Releasing {
  template <typename Handle>
  void operator()(Handle* handle) const {
    release(handle);
  }
};

using MountTable = std::unique_ptr<libmnt_table, Releasing<mnt_unref_table>>;
using MountIterator = std::unique_ptr<libmnt_iter, Releasing<mnt_free_iter>>;
using Udev = std::unique_ptr<udev, Releasing<udev_unref>>;
using UdevDevice = std::unique_ptr<udev_device, Releasing<udev_device_unref>>;

FileURL resolved(const FileURL& url) {
  struct Freeing {
    void operator()(char* text) const { free(text); }
  };
  const std::unique_ptr<char, Freeing> path(realpath(url.path().c_str(), nullptr));
  if (!path) {
    throw PosixError(errno, "resolve", url);
  }
  return FileURL(path.get());
}

// Where a folder lies among the mounts.
struct Place {
  bool isMountPoint = false;
  std::uint64_t mountNumber = 0;  // the kernel's, as /proc/self/mountinfo has it
};

// The kernel is asked by the path, so that of several mounts over each other the visible one answers, and
// none does for a mount point that a later mount has hidden.
Place placeOf(const FileURL& directory) {
  struct statx status {};
  if (statx(AT_FDCWD, directory.path().c_str(), 0, STATX_TYPE | STATX_MNT_ID, &status) != 0) {
    throw PosixError(errno, "look at", directory);
  }
  if (!S_ISDIR(status.stx_mode)) {
    throw PosixError(ENOTDIR, "look at", directory);
  }
  return {(status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0, status.stx_mnt_id};
}

// The number of the block device that a mount shows. Absent where there is none, or none in sight (tmpfs, a
// network, a container without the device).
std::optional<dev_t> blockDevice(libmnt_fs* mount) {
  // The source comes first: a file system in a user's process (exFAT, NTFS) and one of several devices have
  // numbers of their own that are no device's.
  const char* source = mnt_fs_get_source(mount);
  struct stat status {};
  if (source != nullptr && *source == '/' && stat(source, &status) == 0 && S_ISBLK(status.st_mode)) {
    return status.st_rdev;
  }
  const dev_t number = mnt_fs_get_devno(mount);
  return major(number) != 0 ? std::optional(number) : std::nullopt;
}

std::optional<dev_t> blockDeviceOfMount(std::uint64_t mountNumber) {
  const MountTable table(mnt_new_table_from_file("/proc/self/mountinfo"));
  const MountIterator iterator(mnt_new_iter(MNT_ITER_FORWARD));
  libmnt_fs* mount = nullptr;
  while (table && iterator && mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
    if (std::cmp_equal(mnt_fs_get_id(mount), mountNumber)) {
      return blockDevice(mount);
    }
  }
  return std::nullopt;
}

std::optional<unsigned> hexadecimalDigit(char character) {
  constexpr std::string_view digits = "0123456789abcdef";
  const std::size_t value = digits.find(character);
  return value != std::string_view::npos ? std::optional(static_cast<unsigned>(value)) : std::nullopt;
}

// udev writes what isn't plain in a label as "\x20", one byte each.
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

std::optional<std::string> propertyOfUdev(udev_device* device, const char* key) {
  const char* value = udev_device_get_property_value(device, key);
  return value != nullptr && *value != '\0' ? std::optional<std::string>(value) : std::nullopt;
}

// The name of the link to the device in a folder of /dev/disk, encoded by udev's rules.
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

// A label as udev encodes it, when it is text: old cameras label their cards in a code page of their own.
std::optional<std::string> decodedLabel(const std::optional<std::string>& encoded) {
  if (encoded) {
    std::string label = decodedByUdevsRules(*encoded);
    if (isUTF8(label)) {
      return label;
    }
  }
  return std::nullopt;
}

VolumeResourceValues valuesFromUdevDatabase(dev_t number) {
  const Udev database(udev_new());
  const UdevDevice device(database ? udev_device_new_from_devnum(database.get(), 'b', number) : nullptr);
  if (!device) {
    return {};
  }
  auto name = decodedLabel(propertyOfUdev(device.get(), "ID_FS_LABEL_ENC"));
  if (!name) {
    name = propertyOfUdev(device.get(), "ID_FS_LABEL");  // with "_" for what isn't plain
  }
  return {std::move(name), propertyOfUdev(device.get(), "ID_FS_UUID")};
}

// The links that udev keeps for every device outlast it in places that have no udev of their own.
VolumeResourceValues valuesFromDeviceLinks(dev_t number) {
  return {decodedLabel(nameOfLink(FileURL("/dev/disk/by-label"), number)),
          nameOfLink(FileURL("/dev/disk/by-uuid"), number)};
}

VolumeResourceValues valuesOfDevice(dev_t number) {
  VolumeResourceValues values = valuesFromUdevDatabase(number);
  if (!values.uuid) {
    values = valuesFromDeviceLinks(number);
  }
  return values;
}

VolumeResourceValues valuesOfMount(std::uint64_t mountNumber) {
  const auto device = blockDeviceOfMount(mountNumber);
  return device ? valuesOfDevice(*device) : VolumeResourceValues();
}

// What tells one file system from another, also after a restart wherever the file system makes that possible.
std::string identityOfFileSystem(const FileURL& directory, std::uint64_t mountNumber) {
  if (const auto uuid = valuesOfMount(mountNumber).uuid) {
    return *uuid;
  }
  struct statvfs status {};
  if (statvfs(directory.path().c_str(), &status) != 0) {
    throw PosixError(errno, "look at the file system of", directory);
  }
  return std::to_string(status.f_fsid);
}

// A UUID of version 8 (RFC 9562, section 5.8): the first 122 bits that it leaves free are those of a SHA-256.
UUID uuidOfText(std::string_view text) {
  const SHA256::Digest digest = SHA256::hash(std::as_bytes(std::span(text)));
  UUID uuid;
  std::ranges::transform(std::span(digest).first<16>(), uuid.bytes.begin(),
                         [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
  uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0FU) | 0x80U);  // version 8
  uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3FU) | 0x80U);  // the RFC's variant
  return uuid;
}

VolumeResourceValues valuesOfFolder(const FileURL& directory, std::uint64_t mountNumber) {
  const std::string identity = identityOfFileSystem(directory, mountNumber) + '\n' + directory.path();
  return {std::string(directory.lastPathComponent()), uuidOfText(identity).text()};
}

}  // namespace

VolumeResourceValues volumeResourceValues(const FileURL& volumeURL) {
  const FileURL directory = resolved(volumeURL);
  const Place place = placeOf(directory);
  return place.isMountPoint ? valuesOfMount(place.mountNumber) : valuesOfFolder(directory, place.mountNumber);
}

}  // namespace tolvander
