#include "Tests/Support/Machine/LoopVolume.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace tolvander::tests {

namespace {

struct Tools {
  std::string format;
  std::string mount;  // empty where the kernel mounts
};

Tools toolsFor(LoopVolume::Format format) {
  return format == LoopVolume::Format::ext4 ? Tools{"/usr/sbin/mkfs.ext4", ""}
                                            : Tools{"/usr/sbin/mkfs.exfat", "/usr/sbin/mount.exfat-fuse"};
}

[[noreturn]] void fail(const std::string& step) {
  throw std::runtime_error(step + ": " + std::generic_category().message(errno));
}

// Runs a program, silently, to its end.
void run(std::vector<std::string> arguments) {
  std::vector<char*> pointers(arguments.size() + 1, nullptr);
  std::ranges::transform(arguments, pointers.begin(), [](std::string& argument) { return argument.data(); });
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int failure = posix_spawn(&child, pointers.front(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = failure;
  if (failure == 0) {
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
  }
  if (status != 0) {
    throw std::runtime_error("failed: " + arguments.front());
  }
}

}  // namespace

FileURL formattedImage(const FileURL& image, LoopVolume::Format format, std::string_view label,
                       std::int64_t bytes) {
  writeFile(image, "");
  std::filesystem::resize_file(image.path(), static_cast<std::uintmax_t>(bytes));
  std::vector<std::string> arguments{toolsFor(format).format, "-L", std::string(label)};
  if (format == LoopVolume::Format::ext4) {
    arguments.insert(arguments.end(), {"-q", "-F"});
  }
  arguments.push_back(image.path());
  run(std::move(arguments));
  return image;
}

std::optional<std::string> LoopVolume::reasonAgainst(Format format) {
  const auto isUsable = [](const std::string& path, int how) { return access(path.c_str(), how) == 0; };
  if (auto reason = LoopDevice::reasonAgainst()) {
    return reason;
  }
  const Tools tools = toolsFor(format);
  for (const std::string& tool : {tools.format, tools.mount}) {
    if (!tool.empty() && !isUsable(tool, X_OK)) {
      return tool + " is not installed";
    }
  }
  if (!tools.mount.empty() && !isUsable("/dev/fuse", R_OK | W_OK)) {
    return "there is no /dev/fuse";
  }
  return std::nullopt;
}

LoopVolume::LoopVolume(Format format, std::string_view label, std::int64_t bytes)
    : format_(format),
      mountPoint_(folder_ / "volume"),
      device_(formattedImage(folder_ / "image", format, label, bytes)) {
  std::filesystem::create_directory(mountPoint_.path());
  std::filesystem::permissions(folder_.url().path(), std::filesystem::perms(0755));
  mount();
}

LoopVolume::~LoopVolume() { unplug(); }

void LoopVolume::remount() {
  if (umount2(mountPoint_.path().c_str(), 0) != 0) {
    fail("unmount");
  }
  mount();
}

void LoopVolume::unplug() {
  if (std::exchange(isMounted_, false)) {
    umount2(mountPoint_.path().c_str(), MNT_DETACH);
  }
  device_.detach();
}

void LoopVolume::mount() {
  const std::string mountTool = toolsFor(format_).mount;
  if (!mountTool.empty()) {
    run({mountTool, device_.url().path(), mountPoint_.path()});
  } else if (::mount(device_.url().path().c_str(), mountPoint_.path().c_str(), "ext4", 0, nullptr) != 0) {
    fail("mount " + device_.url().path());
  }
  isMounted_ = true;
}

}  // namespace tolvander::tests
