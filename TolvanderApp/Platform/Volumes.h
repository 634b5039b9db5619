#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/Subscription.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// What the platform says of a mounted volume; each absent where it doesn't know. Name and UUID are those that
// the engine's volumeResourceValues gives for the same volume.
struct VolumeValues {
  std::optional<bool> isInternal;   // on a drive that stays in the machine
  std::optional<bool> isLocal;      // on a drive of this machine rather than a share of another one
  std::optional<bool> isRemovable;  // the drive or its medium can be taken out
  std::optional<bool> isEjectable;  // the system can put the medium out
  std::optional<std::string> name;  // UTF-8
  std::optional<std::string> uuid;

  friend bool operator==(const VolumeValues&, const VolumeValues&) = default;
};

struct MountedVolume {
  FileURL url;                         // the mount point
  std::optional<VolumeValues> values;  // absent when they can't be read

  friend bool operator==(const MountedVolume&, const MountedVolume&) = default;
};

// The volumes of this machine.
class Volumes {
 public:
  using Observer = std::function<void(const FileURL& volumeURL)>;

  virtual ~Volumes() = default;

  // Every volume that is mounted now, the system's own and network shares included, each once, in the order
  // in which they were mounted. Asks no volume itself, so that a drive or a server that doesn't answer can't
  // hold the caller up. Safe on every thread. Throws PosixError when the system can't tell.
  virtual std::vector<MountedVolume> mountedVolumes() const = 0;

  // Calls an observer for each volume that is mounted, and that is unmounted, from now on. Where several
  // things happen at once, unmounts are reported before mounts; a volume that moved is both. Main
  // thread only, on which observers are called too; an observer may end its own subscription. No
  // subscription outlives this object. Throws PosixError when the system can't be watched.
  virtual Subscription observeMounts(Observer onMount, Observer onUnmount) = 0;
};

}  // namespace tolvander::app
