#include "Platform/Linux/Volumes/LinuxVolumes.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::platform::linux_ {

using app::MountedVolume;
using app::VolumeValues;

namespace {

// A volume's path and the mount that makes it one. Equal values describe the same mount.
struct ListedVolume {
  FileURL url;
  std::optional<Mount> mount;  // absent for a chosen folder that is not a mount point
  bool isChosen = false;

  friend bool operator==(const ListedVolume&, const ListedVolume&) = default;
};

bool isDirectory(const FileURL& url) {
  std::error_code ignored;
  return std::filesystem::is_directory(url.path(), ignored);
}

// A bind mount shows a folder of a volume. Subvolumes of btrfs look the same, but may be the only mounts of
// their volume.
bool showsWholeVolume(const Mount& mount) { return mount.root == "/" || mount.fileSystem == "btrfs"; }

using DriveOfDevice = std::function<Drive(dev_t)>;

// Caches the result for each drive. For one listing of the volumes, which needs each drive up to four times.
DriveOfDevice remembering(DriveOfDevice driveOf) {
  return [driveOf = std::move(driveOf), known = std::map<dev_t, Drive>()](dev_t number) mutable {
    const auto drive = known.find(number);
    return drive != known.end() ? drive->second : known.emplace(number, driveOf(number)).first->second;
  };
}

bool isOfADriveThatIsGone(const Mount& mount, const DriveOfDevice& driveOf) {
  const auto device = mount.blockDevice();
  return device && driveOf(*device).isGone;
}

std::vector<ListedVolume> volumesOf(const MountTable& table, const DriveOfDevice& driveOf) {
  std::vector<ListedVolume> listed;
  std::set<dev_t> seen;
  for (Mount& mount : table.visible()) {
    if (showsWholeVolume(mount) && !mount.isPseudo() && !isOfADriveThatIsGone(mount, driveOf) &&
        seen.insert(mount.blockDevice().value_or(mount.device)).second) {
      const FileURL url = mount.place;
      listed.push_back({.url = url, .mount = std::move(mount)});
    }
  }
  return listed;
}

// The mount that contains a folder, whose path must have no links. Null if the table has none.
const Mount* mountOf(const FileURL& folder, const std::vector<Mount>& visible) {
  const Mount* innermost = nullptr;
  for (const Mount& mount : visible) {
    const bool holds = mount.place == folder || folder.isBelow(mount.place);
    if (holds && (innermost == nullptr || mount.place.path().size() >= innermost->place.path().size())) {
      innermost = &mount;
    }
  }
  return innermost;
}

bool canBeTakenOut(const Mount& mount, const DriveOfDevice& driveOf) {
  const auto device = mount.blockDevice();
  const Drive drive = device ? driveOf(*device) : Drive();
  return drive.isRemovable || drive.isEjectable;
}

bool isMadeUpByTheKernel(const Mount& mount) {
  constexpr auto fileSystems = std::to_array<std::string_view>(
      {"autofs", "binfmt_misc", "bpf",        "cgroup",     "cgroup2",   "configfs", "debugfs",
       "devpts", "devtmpfs",    "efivarfs",   "fusectl",    "hugetlbfs", "mqueue",   "nsfs",
       "proc",   "pstore",      "rpc_pipefs", "securityfs", "selinuxfs", "sysfs",    "tracefs"});
  return std::ranges::find(fileSystems, mount.fileSystem) != fileSystems.end();
}

bool isPlaceOfTheSystem(const FileURL& mountPoint) {
  constexpr auto places =
      std::to_array<std::string_view>({"/", "/boot", "/boot/efi", "/dev", "/dev/shm", "/efi", "/home", "/opt",
                                       "/root", "/run", "/srv", "/tmp", "/usr", "/var"});
  return std::ranges::find(places, mountPoint.path()) != places.end();
}

// Whether a chosen folder, whose path must have no links, can be a volume.
bool canBeAVolume(const FileURL& place, const std::vector<Mount>& visible, const DriveOfDevice& driveOf) {
  const Mount* const mount = mountOf(place, visible);
  if (mount == nullptr) {
    return place.path() != "/";
  }
  if (isOfADriveThatIsGone(*mount, driveOf)) {
    return false;
  }
  if (mount->place == place) {
    return !isPlaceOfTheSystem(place) && !isMadeUpByTheKernel(*mount);
  }
  // The system itself may run from a removable drive; folders on it belong to the user.
  const bool isOnADrive = mount->place.path() != "/" && canBeTakenOut(*mount, driveOf);
  return !isOnADrive && !isMadeUpByTheKernel(*mount);
}

// Folders that cameras create on a card; the folder that contains one is the volume.
bool isFolderOfACard(const FileURL& place, const std::vector<Mount>& visible) {
  const bool hasTheName = place.lastPathComponent() == "DCIM" || place.lastPathComponent() == "SPIDCIM";
  return hasTheName && std::ranges::find(visible, place, &Mount::place) == visible.end();
}

void addChosenFolders(std::vector<ListedVolume>& listed, const std::vector<FileURL>& folders,
                      const std::vector<Mount>& visible, const DriveOfDevice& driveOf) {
  for (const FileURL& chosen : folders) {
    if (!isDirectory(chosen)) {
      continue;
    }
    const bool isInsideACard = isFolderOfACard(chosen.resolvingSymlinks(), visible);
    const FileURL folder = isInsideACard ? chosen.resolvingSymlinks().deletingLastPathComponent() : chosen;
    const FileURL place = folder.resolvingSymlinks();
    if (!canBeAVolume(place, visible, driveOf)) {
      continue;
    }
    const auto same = std::ranges::find_if(listed, [&](const ListedVolume& volume) {
      return (volume.isChosen ? volume.url.resolvingSymlinks() : volume.url) == place;
    });
    if (isInsideACard && same != listed.end()) {
      continue;
    }
    std::optional<Mount> mount;
    if (same != listed.end()) {
      mount = std::move(same->mount);
      listed.erase(same);
    }
    listed.push_back({.url = folder, .mount = std::move(mount), .isChosen = true});
  }
}

std::vector<ListedVolume> listVolumes(const MountTable& table, const std::vector<FileURL>& chosenFolders,
                                      const DriveOfDevice& driveOf) {
  std::vector<ListedVolume> listed = volumesOf(table, driveOf);
  addChosenFolders(listed, chosenFolders, table.visible(), driveOf);
  return listed;
}

// The drive of the root file system.
std::optional<dev_t> systemDisk(const MountTable& table, const DriveOfDevice& driveOf) {
  for (const Mount& mount : table.visible()) {
    if (mount.place.path() == "/") {
      const auto device = mount.blockDevice();
      return device ? std::optional(driveOf(*device).disk) : std::nullopt;
    }
  }
  return std::nullopt;
}

VolumeValues valuesOfMount(const Mount& mount, std::optional<dev_t> diskOfTheSystem,
                           const DriveOfDevice& driveOf) {
  VolumeValues values;
  values.isLocal = !mount.isNetwork();
  values.isRemovable = false;
  values.isEjectable = false;
  if (const auto device = mount.blockDevice()) {
    Drive drive = driveOf(*device);
    const bool runsTheSystem = drive.disk == diskOfTheSystem;
    values.isInternal = runsTheSystem || !(drive.isRemovable || drive.isEjectable);
    values.isRemovable = drive.isRemovable;
    values.isEjectable = drive.isEjectable;
    values.name = std::move(drive.label);
    values.uuid = std::move(drive.uuid);
  }
  return values;
}

// Absent if the folder is gone or can't be examined.
std::optional<VolumeValues> valuesOfFolder(const FileURL& folder) {
  VolumeValues values;
  values.isEjectable = false;
  try {
    VolumeResourceValues identity = volumeResourceValues(folder);
    values.name = std::move(identity.name);
    values.uuid = std::move(identity.uuid);
  } catch (const Error&) {
    return std::nullopt;
  }
  return values;
}

std::optional<VolumeValues> valuesOf(const ListedVolume& volume, std::optional<dev_t> diskOfTheSystem,
                                     const DriveOfDevice& driveOf) {
  auto values =
      volume.mount ? valuesOfMount(*volume.mount, diskOfTheSystem, driveOf) : valuesOfFolder(volume.url);
  if (values && volume.isChosen) {
    values->isInternal = false;
    values->isLocal = true;
    values->isRemovable = true;
  }
  return values;
}

}  // namespace

// One observer of the mounts. The kernel reports changes since the descriptor was opened or the last report,
// so the descriptor is opened before the table is read.
class LinuxVolumes::Observation {
 public:
  Observation(const LinuxVolumes& volumes, Observer onMount, Observer onUnmount)
      : volumes_(volumes),
        onMount_(std::move(onMount)),
        onUnmount_(std::move(onUnmount)),
        changes_(open(volumes.sources_.mountTable.path().c_str(), O_RDONLY | O_CLOEXEC)) {
    if (!changes_) {
      throw PosixError(errno, "watch", volumes.sources_.mountTable);
    }
    known_ = listNow();
  }

  int descriptor() const { return changes_.number(); }

  void end() { hasEnded_ = true; }

  void tellChanges() {
    std::vector<ListedVolume> now;
    try {
      now = listNow();
    } catch (const Error&) {
      return;  // for example too many open files; the next change reports these too
    }
    const std::vector<ListedVolume> before = std::exchange(known_, now);
    tellThoseMissing(now, before, onUnmount_);
    tellThoseMissing(before, now, onMount_);
  }

 private:
  std::vector<ListedVolume> listNow() const {
    return listVolumes(MountTable::read(volumes_.sources_.mountTable), volumes_.chosenFolders_,
                       remembering(volumes_.sources_.drive));
  }

  // Calls `tell` with the volumes of `among` that are not in `list`.
  void tellThoseMissing(const std::vector<ListedVolume>& list, const std::vector<ListedVolume>& among,
                        const Observer& tell) const {
    for (const ListedVolume& volume : among) {
      if (!hasEnded_ && std::ranges::find(list, volume) == list.end()) {
        tell(volume.url);
      }
    }
  }

  const LinuxVolumes& volumes_;
  Observer onMount_;
  Observer onUnmount_;
  OwnedDescriptor changes_;
  std::vector<ListedVolume> known_;
  bool hasEnded_ = false;
};

LinuxVolumes::LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders)
    : LinuxVolumes(watcher, std::move(chosenFolders), Sources()) {}

LinuxVolumes::LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders, Sources sources)
    : watcher_(watcher), chosenFolders_(std::move(chosenFolders)), sources_(std::move(sources)) {}

std::vector<MountedVolume> LinuxVolumes::mountedVolumes() const {
  const MountTable table = MountTable::read(sources_.mountTable);
  const DriveOfDevice driveOf = remembering(sources_.drive);
  const auto diskOfTheSystem = systemDisk(table, driveOf);
  std::vector<MountedVolume> volumes;
  for (const ListedVolume& volume : listVolumes(table, chosenFolders_, driveOf)) {
    volumes.push_back({volume.url, valuesOf(volume, diskOfTheSystem, driveOf)});
  }
  return volumes;
}

app::Subscription LinuxVolumes::observeMounts(Observer onMount, Observer onUnmount) {
  // The loop shares ownership, because an observer may end the subscription.
  const auto observation = std::make_shared<Observation>(*this, std::move(onMount), std::move(onUnmount));
  auto watch = std::make_shared<app::Subscription>(watcher_.watch(
      observation->descriptor(), EPOLLPRI, [observation](std::uint32_t) { observation->tellChanges(); }));
  return app::Subscription([observation, watch] {
    observation->end();
    watch->end();
  });
}

std::string LinuxVolumes::source(const FileURL& volumeURL) const {
  const std::vector<Mount> mounts = MountTable::read(sources_.mountTable).visible();
  auto mount = std::ranges::find(mounts, volumeURL.standardized(), &Mount::place);
  // Only the path of a chosen folder is resolved: that of a network share could block.
  if (mount == mounts.end()) {
    mount = std::ranges::find(mounts, volumeURL.resolvingSymlinks(), &Mount::place);
  }
  return mount != mounts.end() ? mount->source : "";
}

}  // namespace tolvander::platform::linux_
