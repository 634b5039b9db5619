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

// One mount, as the kernel tells of it (proc(5), /proc/PID/mountinfo), with its octal escapes decoded.
struct Mount {
  std::uint64_t number = 0;  // the next mount may have it when this one is gone
  std::uint64_t parent = 0;  // the number of the mount that it is mounted on
  dev_t device = 0;          // st_dev of the files
  std::string root;          // the folder of the file system that shows; "/" for all of it
  FileURL place;             // the mount point
  std::string fileSystem;    // "ext4", "fuse.sshfs"
  std::string source;        // the block device's path, "server:/share", or any word
  std::string superOptions;  // the file system's: "rw,fmask=0022,tz=UTC"; a remount may change them

  // A file system of the kernel's own that keeps nobody's files (proc, tmpfs).
  bool isPseudo() const;

  // A share of another machine.
  bool isNetwork() const;

  // The number of the block device that holds the files. Absent where there is none, or none in sight (tmpfs,
  // a network). Looks at /dev where the file system has a number of its own, that is no device's.
  std::optional<dev_t> blockDevice() const;

  // Whether they are the same mount, remounted in between or not: everything but superOptions is equal.
  friend bool operator==(const Mount& left, const Mount& right);
};

// Everything that was mounted at one moment.
class MountTable {
 public:
  static const FileURL& ofThisProcess();  // /proc/self/mountinfo

  // Throws PosixError when the file can't be read.
  static MountTable read(const FileURL& file = ofThisProcess());

  // Lines that can't be understood are left out.
  static MountTable parse(std::string_view text);

  // In the kernel's order, which is mostly that of mounting.
  const std::vector<Mount>& mounts() const& { return mounts_; }
  const std::vector<Mount>& mounts() const&& = delete;

  // Null when there is none.
  const Mount* withNumber(std::uint64_t number) const&;

  // Those that a path leads to: of several at one place the top one, and none below a folder that a later
  // mount covers.
  std::vector<Mount> visible() const;

 private:
  explicit MountTable(std::vector<Mount> mounts) : mounts_(std::move(mounts)) {}

  std::vector<Mount> mounts_;
};

}  // namespace tolvander::platform::linux_
