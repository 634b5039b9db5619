#include "TolvanderCore/Platform/Volume.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "Platform/Linux/Foundation/CHandleDeleter.h"
#include "Platform/Linux/Mounts/Drive.h"
#include "Platform/Linux/Mounts/MountTable.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander {

namespace {

using platform::linux_::CHandleDeleter;
using platform::linux_::Drive;
using platform::linux_::Mount;
using platform::linux_::MountTable;

FileURL resolved(const FileURL& url) {
  const std::unique_ptr<char, CHandleDeleter<std::free>> path(realpath(url.path().c_str(), nullptr));
  if (!path) {
    throw PosixError(errno, "resolve", url);
  }
  return FileURL(path.get());
}

// The mount of a folder.
struct Place {
  bool isMountPoint = false;
  std::uint64_t mountNumber = 0;  // mount ID, as in /proc/self/mountinfo
};

// statx resolves the path, so that the result is the visible one of several mounts on each other, and a
// mount point that a later mount hides isn't one.
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

VolumeResourceValues valuesOfMount(std::uint64_t mountNumber) {
  const MountTable table = MountTable::read();
  const Mount* const mount = table.withNumber(mountNumber);
  const auto device = mount != nullptr ? mount->blockDevice() : std::nullopt;
  if (!device) {
    return {};
  }
  Drive drive = Drive::ofDevice(*device);
  return {std::move(drive.label), std::move(drive.uuid)};
}

// Identifies a file system, also after a restart if the file system makes that possible.
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

// A UUID of version 8 (RFC 9562, section 5.8): its 122 custom bits are the first ones of a SHA-256.
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
