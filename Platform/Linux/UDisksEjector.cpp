#include "Platform/Linux/UDisksEjector.h"

#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderApp/Platform/EjectError.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::EjectError;

namespace {

using Options = std::map<std::string, sdbus::Variant>;
using Interfaces = std::map<std::string, std::map<std::string, sdbus::Variant>>;
using Objects = std::map<sdbus::ObjectPath, Interfaces>;

constexpr const char* service = "org.freedesktop.UDisks2";
constexpr const char* blockInterface = "org.freedesktop.UDisks2.Block";
constexpr const char* driveInterface = "org.freedesktop.UDisks2.Drive";
constexpr const char* filesystemInterface = "org.freedesktop.UDisks2.Filesystem";
constexpr const char* noObject = "/";

constexpr std::chrono::minutes patience(5);

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

// The conversation with udisks about one drive.
class Conversation {
 public:
  Conversation() : connection_(sdbus::createSystemBusConnection()) {}

  // The object of a device file; absent for a device that udisks doesn't know.
  std::optional<sdbus::ObjectPath> block(const std::string& device) {
    std::vector<sdbus::ObjectPath> blocks;
    proxy("/org/freedesktop/UDisks2/Manager")
        .callMethod("ResolveDevice")
        .onInterface("org.freedesktop.UDisks2.Manager")
        .withTimeout(patience)
        .withArguments(Options{{"path", sdbus::Variant(device)}}, Options())
        .storeResultsTo(blocks);
    return blocks.empty() ? std::nullopt : std::optional(blocks.front());
  }

  // The drive of a block device; absent where it is on none, such as an image in a file.
  std::optional<sdbus::ObjectPath> drive(const sdbus::ObjectPath& block) {
    const sdbus::Variant value = proxy(block).getProperty("Drive").onInterface(blockInterface);
    const auto path = value.get<sdbus::ObjectPath>();
    return path == noObject ? std::nullopt : std::optional(path);
  }

  // The file systems of the drive that are mounted, `first` before the others.
  std::vector<sdbus::ObjectPath> mountedFilesystems(const sdbus::ObjectPath& drive,
                                                    const sdbus::ObjectPath& first) {
    Objects objects;
    proxy("/org/freedesktop/UDisks2")
        .callMethod("GetManagedObjects")
        .onInterface("org.freedesktop.DBus.ObjectManager")
        .withTimeout(patience)
        .storeResultsTo(objects);
    std::vector<sdbus::ObjectPath> mounted;
    for (const auto& [path, interfaces] : objects) {
      const auto block = interfaces.find(blockInterface);
      const bool isOfDrive =
          block != interfaces.end() && block->second.at("Drive").get<sdbus::ObjectPath>() == drive;
      if (isOfDrive && interfaces.contains(filesystemInterface) && isMounted(path)) {
        mounted.push_back(path);
      }
    }
    std::ranges::stable_partition(mounted, [&](const auto& path) { return path == first; });
    return mounted;
  }

  // At every place where it is mounted.
  void unmount(const sdbus::ObjectPath& filesystem) {
    while (isMounted(filesystem)) {
      call(filesystem, filesystemInterface, "Unmount");
    }
  }

  void eject(const sdbus::ObjectPath& drive) {
    if (says(drive, "Ejectable")) {
      call(drive, driveInterface, "Eject");
    } else if (says(drive, "CanPowerOff")) {
      call(drive, driveInterface, "PowerOff");
    }
  }

 private:
  sdbus::IProxy& proxy(const std::string& path) {
    auto& proxy = proxies_[path];
    if (!proxy) {
      proxy = sdbus::createProxy(*connection_, service, path);
    }
    return *proxy;
  }

  // A method that takes options only. A call is made where its MethodInvoker ends, which is therefore never
  // moved: the one that was moved from would call nothing, and fail.
  void call(const std::string& path, const char* interface, const char* method) {
    proxy(path).callMethod(method).onInterface(interface).withTimeout(patience).withArguments(Options());
  }

  bool isMounted(const sdbus::ObjectPath& filesystem) {
    using MountPoints = std::vector<std::vector<std::uint8_t>>;
    const sdbus::Variant value =
        proxy(filesystem).getProperty("MountPoints").onInterface(filesystemInterface);
    return !value.get<MountPoints>().empty();
  }

  bool says(const sdbus::ObjectPath& drive, const char* property) {
    const sdbus::Variant value = proxy(drive).getProperty(property).onInterface(driveInterface);
    return value.get<bool>();
  }

  std::unique_ptr<sdbus::IConnection> connection_;
  std::map<std::string, std::unique_ptr<sdbus::IProxy>> proxies_;
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
  } catch (const sdbus::Error& error) {
    throw EjectError(caseOf(error.getName()), error.what());
  } catch (const PosixError& error) {
    throw EjectError(EjectError::Case::failed, error.what());
  }
}

}  // namespace tolvander::platform::linux_
