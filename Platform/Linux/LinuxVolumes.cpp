#include "Platform/Linux/LinuxVolumes.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "Platform/Linux/Descriptor.h"
#include "TolvanderCore/Platform/Volume.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::MountedVolume;
using app::VolumeValues;

namespace {

// A volume's place and the mount that makes it one. Two of them are the same volume at the same place for the
// same while.
struct ListedVolume {
  FileURL url;
  std::optional<Mount> mount;  // absent for a chosen folder that is none
  bool isChosen = false;

  friend bool operator==(const ListedVolume&, const ListedVolume&) = default;
};

bool isDirectory(const FileURL& url) {
  std::error_code ignored;
  return std::filesystem::is_directory(url.path(), ignored);
}

// A bind mount shows a folder that belongs to a volume. The subvolumes of btrfs look the same, and are all
// that is mounted of their volume.
bool showsWholeVolume(const Mount& mount) { return mount.root == "/" || mount.fileSystem == "btrfs"; }

std::vector<ListedVolume> volumesOf(const MountTable& table) {
  std::vector<ListedVolume> listed;
  std::set<dev_t> seen;
  for (Mount& mount : table.visible()) {
    if (showsWholeVolume(mount) && !mount.isPseudo() &&
        seen.insert(mount.blockDevice().value_or(mount.device)).second) {
      const FileURL url = mount.place;
      listed.push_back({.url = url, .mount = std::move(mount)});
    }
  }
  return listed;
}

void addChosenFolders(std::vector<ListedVolume>& listed, const std::vector<FileURL>& folders) {
  for (const FileURL& folder : folders) {
    if (!isDirectory(folder)) {
      continue;
    }
    const FileURL place = folder.resolvingSymlinks();
    const auto same = std::ranges::find_if(listed, [&](const ListedVolume& volume) {
      return (volume.isChosen ? volume.url.resolvingSymlinks() : volume.url) == place;
    });
    std::optional<Mount> mount;
    if (same != listed.end()) {
      mount = std::move(same->mount);
      listed.erase(same);
    }
    listed.push_back({.url = folder, .mount = std::move(mount), .isChosen = true});
  }
}

std::vector<ListedVolume> listVolumes(const MountTable& table, const std::vector<FileURL>& chosenFolders) {
  std::vector<ListedVolume> listed = volumesOf(table);
  addChosenFolders(listed, chosenFolders);
  return listed;
}

using DriveOfDevice = std::function<Drive(dev_t)>;

// The drive that the system runs from.
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

// Absent when the folder is gone by now, or can't be looked at.
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

// One observer of the mounts. The kernel reports a change since the descriptor was opened, or since the last
// report, so that opening it first and reading the table then misses none.
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
      return;  // too many open files, say; the next change tells these too
    }
    const std::vector<ListedVolume> before = std::exchange(known_, now);
    tellThoseMissing(now, before, onUnmount_);
    tellThoseMissing(before, now, onMount_);
  }

 private:
  std::vector<ListedVolume> listNow() const {
    return listVolumes(MountTable::read(volumes_.sources_.mountTable), volumes_.chosenFolders_);
  }

  // Tells those of `among` that `list` hasn't.
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
  Descriptor changes_;
  std::vector<ListedVolume> known_;
  bool hasEnded_ = false;
};

LinuxVolumes::LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders)
    : LinuxVolumes(watcher, std::move(chosenFolders), Sources()) {}

LinuxVolumes::LinuxVolumes(DescriptorWatcher& watcher, std::vector<FileURL> chosenFolders, Sources sources)
    : watcher_(watcher), chosenFolders_(std::move(chosenFolders)), sources_(std::move(sources)) {}

std::vector<MountedVolume> LinuxVolumes::mountedVolumes() const {
  const MountTable table = MountTable::read(sources_.mountTable);
  const auto diskOfTheSystem = systemDisk(table, sources_.drive);
  std::vector<MountedVolume> volumes;
  for (const ListedVolume& volume : listVolumes(table, chosenFolders_)) {
    volumes.push_back({volume.url, valuesOf(volume, diskOfTheSystem, sources_.drive)});
  }
  return volumes;
}

app::Subscription LinuxVolumes::observeMounts(Observer onMount, Observer onUnmount) {
  // Held by the loop as well, so that it outlives a subscription that an observer ends.
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
  if (mount == mounts.end()) {  // only a chosen folder's links are followed: a share might not answer
    mount = std::ranges::find(mounts, volumeURL.resolvingSymlinks(), &Mount::place);
  }
  return mount != mounts.end() ? mount->source : "";
}

}  // namespace tolvander::platform::linux_
