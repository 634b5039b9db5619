#include "Platform/Linux/Volumes/UDisksEjector.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/DBus/BusError.h"
#include "TolvanderApp/Platform/EjectError.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::EjectError;

namespace {

using Properties = std::map<std::string, BusVariant>;
using Interfaces = std::map<std::string, Properties>;
using Objects = std::map<ObjectPath, Interfaces>;

constexpr const char* service = "org.freedesktop.UDisks2";
constexpr const char* blockInterface = "org.freedesktop.UDisks2.Block";
constexpr const char* driveInterface = "org.freedesktop.UDisks2.Drive";
constexpr const char* filesystemInterface = "org.freedesktop.UDisks2.Filesystem";
const ObjectPath noObject{"/"};

constexpr std::chrono::minutes timeout(5);

EjectError::Case caseOf(std::string_view errorName) {
  if (errorName == "org.freedesktop.UDisks2.Error.DeviceBusy") {
    return EjectError::Case::busy;
  }
  if (errorName.starts_with("org.freedesktop.UDisks2.Error.NotAuthorized") ||
      errorName == "org.freedesktop.DBus.Error.AccessDenied") {
    return EjectError::Case::notPermitted;
  }
  return errorName.starts_with("org.freedesktop.UDisks2.Error.") ? EjectError::Case::failed
                                                                 : EjectError::Case::unavailable;
}

// Calls to udisks about one drive.
class Conversation {
 public:
  // The udisks object of a device file; absent if udisks doesn't know the device.
  std::optional<ObjectPath> block(const std::string& device) {
    const auto blocks = call<std::vector<ObjectPath>>({"/org/freedesktop/UDisks2/Manager"},
                                                      "org.freedesktop.UDisks2.Manager", "ResolveDevice",
                                                      Properties{{"path", BusVariant(device)}}, Properties());
    return blocks.empty() ? std::nullopt : std::optional(blocks.front());
  }

  // The drive of a block device; absent if it has none, such as a loop device.
  std::optional<ObjectPath> drive(const ObjectPath& block) {
    const auto path = property<ObjectPath>(block, blockInterface, "Drive");
    return path == noObject ? std::nullopt : std::optional(path);
  }

  // The mounted file systems of the drive, `first` first.
  std::vector<ObjectPath> mountedFilesystems(const ObjectPath& drive, const ObjectPath& first) {
    const auto objects = call<Objects>({"/org/freedesktop/UDisks2"}, "org.freedesktop.DBus.ObjectManager",
                                       "GetManagedObjects");
    std::vector<ObjectPath> mounted;
    for (const auto& [path, interfaces] : objects) {
      const auto block = interfaces.find(blockInterface);
      const bool isOfDrive =
          block != interfaces.end() && block->second.at("Drive").get<ObjectPath>() == drive;
      if (isOfDrive && interfaces.contains(filesystemInterface) && isMounted(path)) {
        mounted.push_back(path);
      }
    }
    std::stable_partition(mounted.begin(), mounted.end(), [&](const auto& path) { return path == first; });
    return mounted;
  }

  // Unmounts a file system from all of its mount points.
  void unmount(const ObjectPath& filesystem) {
    while (isMounted(filesystem)) {
      call(filesystem, filesystemInterface, "Unmount", Properties());
    }
  }

  // If ejecting fails, as it does on a system without the program that udisks calls for it, powers the drive
  // off. Both fail for a drive that is in use.
  void eject(const ObjectPath& drive) {
    const bool canPowerOff = property<bool>(drive, driveInterface, "CanPowerOff");
    if (property<bool>(drive, driveInterface, "Ejectable")) {
      try {
        call(drive, driveInterface, "Eject", Properties());
        return;
      } catch (const BusError&) {
        if (!canPowerOff) {
          throw;
        }
      }
    }
    if (canPowerOff) {
      call(drive, driveInterface, "PowerOff", Properties());
    }
  }

 private:
  template <typename Result = void, typename... Arguments>
  Result call(const ObjectPath& object, const char* interface, const char* method,
              const Arguments&... arguments) {
    return connection_.call<Result>(
        {.service = service, .path = object, .interface = interface, .method = method, .timeout = timeout},
        arguments...);
  }

  template <typename T>
  T property(const ObjectPath& object, const char* interface, const char* name) {
    return call<BusVariant>(object, "org.freedesktop.DBus.Properties", "Get", std::string(interface),
                            std::string(name))
        .template get<T>();
  }

  bool isMounted(const ObjectPath& filesystem) {
    using MountPoints = std::vector<std::vector<std::uint8_t>>;
    return !property<MountPoints>(filesystem, filesystemInterface, "MountPoints").empty();
  }

  BusConnection connection_ = BusConnection::toSystemBus(timeout);
};

}  // namespace

void UDisksEjector::unmountAndEject(const FileURL& volume) {
  try {
    const std::string device = volumes_.source(volume);
    if (!device.starts_with("/dev/")) {
      throw EjectError(EjectError::Case::notRemovable, volume.path() + " is mounted from no device");
    }
    Conversation udisks;
    const auto block = udisks.block(device);
    const auto drive = block ? udisks.drive(*block) : std::nullopt;
    if (!drive) {
      throw EjectError(EjectError::Case::notRemovable, device + " is on no drive that udisks knows");
    }
    for (const auto& filesystem : udisks.mountedFilesystems(*drive, *block)) {
      udisks.unmount(filesystem);
    }
    udisks.eject(*drive);
  } catch (const BusError& error) {
    throw EjectError(caseOf(error.name()), error.what());
  } catch (const PosixError& error) {
    throw EjectError(EjectError::Case::failed, error.what());
  }
}

}  // namespace tolvander::platform::linux_
