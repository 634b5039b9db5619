#include "Platform/Linux/Mounts/MountTable.h"

#include <libmount/libmount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <tuple>
#include <utility>

#include "Platform/Linux/Foundation/CHandleDeleter.h"
#include "TolvanderCore/Files/FileReader.h"

namespace tolvander::platform::linux_ {

namespace {

using Table = std::unique_ptr<libmnt_table, CHandleDeleter<mnt_unref_table>>;
using Iterator = std::unique_ptr<libmnt_iter, CHandleDeleter<mnt_free_iter>>;
using Stream = std::unique_ptr<std::FILE, CHandleDeleter<std::fclose>>;

std::string textOf(const char* text) { return text != nullptr ? text : ""; }

std::optional<Mount> mountOf(libmnt_fs* entry) {
  const char* const place = mnt_fs_get_target(entry);
  // Entries of other tables, such as fstab, have no mount IDs.
  if (mnt_fs_is_kernel(entry) == 0 || place == nullptr || *place != '/') {
    return std::nullopt;
  }
  return Mount{.number = static_cast<std::uint32_t>(mnt_fs_get_id(entry)),
               .parent = static_cast<std::uint32_t>(mnt_fs_get_parent_id(entry)),
               .device = mnt_fs_get_devno(entry),
               .root = textOf(mnt_fs_get_root(entry)),
               .place = FileURL(place),
               .fileSystem = textOf(mnt_fs_get_fstype(entry)),
               .source = textOf(mnt_fs_get_source(entry)),
               .superOptions = textOf(mnt_fs_get_fs_options(entry))};
}

// Resolves paths from the root like the kernel, to find the mount at their end.
class MountTree {
 public:
  explicit MountTree(const std::vector<Mount>& mounts) : mounts_(mounts) {
    for (std::size_t index = 0; index < mounts.size(); ++index) {
      indexOfNumber_.emplace(mounts[index].number, index);
    }
    for (std::size_t index = 0; index < mounts.size(); ++index) {
      mountedOn_[{parentOf(mounts[index]), mounts[index].place.path()}] = index;
    }
  }

  // The index of the mount at the end of the path.
  std::optional<std::size_t> at(std::string_view path) const {
    std::optional<std::size_t> current;
    std::size_t stepsLeft = mounts_.size();  // guards against a cycle in a malformed table
    for (std::size_t end = 1; end != std::string_view::npos && end <= path.size(); end = nextEnd(path, end)) {
      for (auto next = child(current, path.substr(0, end)); next && stepsLeft > 0; --stepsLeft) {
        current = next;
        next = child(current, path.substr(0, end));
      }
    }
    return current;
  }

 private:
  using Parent = std::optional<std::size_t>;  // absent for mounts whose parent is not visible to the process

  // The end of the next longer prefix of the path that could be a mount point: "/", "/media", "/media/CARD".
  static std::size_t nextEnd(std::string_view path, std::size_t end) {
    return end == path.size() ? std::string_view::npos : std::min(path.find('/', end + 1), path.size());
  }

  Parent parentOf(const Mount& mount) const {
    const auto parent = indexOfNumber_.find(mount.parent);
    return parent != indexOfNumber_.end() && mount.parent != mount.number ? Parent(parent->second) : Parent();
  }

  std::optional<std::size_t> child(Parent parent, std::string_view place) const {
    const auto found = mountedOn_.find({parent, std::string(place)});
    return found != mountedOn_.end() ? std::optional(found->second) : std::nullopt;
  }

  const std::vector<Mount>& mounts_;
  std::map<std::uint64_t, std::size_t> indexOfNumber_;
  std::map<std::pair<Parent, std::string>, std::size_t> mountedOn_;
};

}  // namespace

bool operator==(const Mount& left, const Mount& right) {
  const auto fields = [](const Mount& mount) {
    return std::tie(mount.number, mount.parent, mount.device, mount.root, mount.place, mount.fileSystem,
                    mount.source);
  };
  return fields(left) == fields(right);
}

bool Mount::isPseudo() const {
  // libmount counts "fuse" as virtual, but many drivers of real drives use it.
  return mnt_fstype_is_pseudofs(fileSystem.c_str()) != 0 && !blockDevice();
}

bool Mount::isNetwork() const {
  // "server:/share" identifies network file systems that libmount doesn't know.
  return mnt_fstype_is_netfs(fileSystem.c_str()) != 0 ||
         (source.find(':') != std::string::npos && !blockDevice());
}

std::optional<dev_t> Mount::blockDevice() const {
  if (major(device) != 0) {
    return device;
  }
  struct stat status {};
  // Only in /dev: a path on a network share could block.
  if (source.starts_with("/dev/") && stat(source.c_str(), &status) == 0 && S_ISBLK(status.st_mode)) {
    return status.st_rdev;
  }
  return std::nullopt;
}

const FileURL& MountTable::ofThisProcess() {
  static const FileURL file("/proc/self/mountinfo");
  return file;
}

MountTable MountTable::read(const FileURL& file) {
  const std::vector<std::byte> bytes = FileReader(file).readToEnd();
  return parse({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

MountTable MountTable::parse(std::string_view text) {
  if (text.empty()) {
    return MountTable({});
  }
  const Table table(mnt_new_table());
  const Iterator iterator(mnt_new_iter(MNT_ITER_FORWARD));
  const Stream stream(fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
  if (!table || !iterator || !stream) {
    throw std::bad_alloc();
  }
  constexpr int goOn = 1;
  mnt_table_set_parser_errcb(table.get(), [](libmnt_table*, const char*, int) { return goOn; });
  mnt_table_parse_stream(table.get(), stream.get(), "mountinfo");

  std::vector<Mount> mounts;
  libmnt_fs* entry = nullptr;
  while (mnt_table_next_fs(table.get(), iterator.get(), &entry) == 0) {
    if (auto mount = mountOf(entry)) {
      mounts.push_back(*std::move(mount));
    }
  }
  return MountTable(std::move(mounts));
}

const Mount* MountTable::withNumber(std::uint64_t number) const& {
  const auto found = std::ranges::find(mounts_, number, &Mount::number);
  return found != mounts_.end() ? &*found : nullptr;
}

std::vector<Mount> MountTable::visible() const {
  const MountTree tree(mounts_);
  std::vector<Mount> visible;
  for (std::size_t index = 0; index < mounts_.size(); ++index) {
    if (tree.at(mounts_[index].place.path()) == index) {
      visible.push_back(mounts_[index]);
    }
  }
  return visible;
}

}  // namespace tolvander::platform::linux_
