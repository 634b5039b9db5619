#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// One mount (proc(5), /proc/PID/mountinfo), with octal escapes decoded.
struct Mount {
  std::uint64_t number = 0;  // mount ID, reused after an unmount
  std::uint64_t parent = 0;  // mount ID of the mount that it is mounted on
  dev_t device = 0;          // st_dev of the files
  std::string root;          // the visible folder of the file system; "/" for all of it
  FileURL place;             // the mount point
  std::string fileSystem;    // "ext4", "fuse.sshfs"
  std::string source;        // path of the block device, "server:/share", or any word
  std::string superOptions;  // options of the file system: "rw,fmask=0022,tz=UTC"; a remount may change them

  // Whether it is a virtual file system of the kernel (proc, tmpfs).
  bool isPseudo() const;

  // Whether it is a share of another machine.
  bool isNetwork() const;

  // The number of the block device with the files; absent if it has none or is unknown (tmpfs, network). For
  // a file system with an anonymous device number (btrfs) it looks up the source in /dev.
  std::optional<dev_t> blockDevice() const;

  // Whether they are the same mount, ignoring remounts: everything but superOptions is equal.
  friend bool operator==(const Mount& left, const Mount& right);
};

// The mounts at one moment.
class MountTable {
 public:
  static const FileURL& ofThisProcess();  // /proc/self/mountinfo

  // Throws PosixError if the file can't be read.
  static MountTable read(const FileURL& file = ofThisProcess());

  // Skips invalid lines.
  static MountTable parse(std::string_view text);

  // In the order of the kernel, mostly that of mounting.
  const std::vector<Mount>& mounts() const& { return mounts_; }
  const std::vector<Mount>& mounts() const&& = delete;

  // Null if there is none.
  const Mount* withNumber(std::uint64_t number) const&;

  // The mounts that a path can reach: of several at one mount point the top one, and none below a folder
  // that a later mount covers.
  std::vector<Mount> visible() const;

 private:
  explicit MountTable(std::vector<Mount> mounts) : mounts_(std::move(mounts)) {}

  std::vector<Mount> mounts_;
};

}  // namespace tolvander::platform::linux_
