#include "Tests/Support/LoopVolume.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <spawn.h>
#include <sys/ioctl.h>
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

constexpr const char* controlDevice = "/dev/loop-control";

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

class OpenFile {
 public:
  OpenFile(const std::string& path, int flags) : number_(open(path.c_str(), flags | O_CLOEXEC, 0600)) {
    if (number_ < 0) {
      fail("open " + path);
    }
  }
  ~OpenFile() { close(number_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int number() const { return number_; }

 private:
  int number_;
};

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

std::optional<std::string> LoopVolume::reasonAgainst(Format format) {
  const auto isUsable = [](const std::string& path, int how) { return access(path.c_str(), how) == 0; };
  if (geteuid() != 0) {
    return "mounting a volume needs root";
  }
  if (!isUsable(controlDevice, R_OK | W_OK)) {
    return "there are no loop devices";
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
    : format_(format), mountPoint_(folder_ / "volume"), device_("/dev/null") {
  const FileURL image = folder_ / "image";
  std::filesystem::create_directory(mountPoint_.path());
  std::filesystem::permissions(folder_.url().path(), std::filesystem::perms(0755));
  if (ftruncate(OpenFile(image.path(), O_RDWR | O_CREAT).number(), bytes) != 0) {
    fail("make the image");
  }
  attach(image);
  try {
    this->format(label);
    mount();
  } catch (...) {
    detach();
    throw;
  }
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
  detach();
}

void LoopVolume::attach(const FileURL& image) {
  const OpenFile control(controlDevice, O_RDWR);
  const OpenFile backing(image.path(), O_RDWR);
  loop_config configuration{};
  configuration.fd = static_cast<std::uint32_t>(backing.number());
  while (true) {
    const int number = ioctl(control.number(), LOOP_CTL_GET_FREE);
    if (number < 0) {
      fail("find a free loop device");
    }
    device_ = FileURL("/dev/loop" + std::to_string(number));
    if (ioctl(OpenFile(device_.path(), O_RDWR).number(), LOOP_CONFIGURE, &configuration) == 0) {
      isAttached_ = true;
      return;
    }
    if (errno != EBUSY) {  // of another process that was faster
      fail("attach " + device_.path());
    }
  }
}

// While the file system still has it open, the kernel puts this off until the last one closes it.
void LoopVolume::detach() {
  if (std::exchange(isAttached_, false)) {
    const int device = open(device_.path().c_str(), O_RDONLY | O_CLOEXEC);
    ioctl(device, LOOP_CLR_FD);
    close(device);
  }
}

void LoopVolume::format(std::string_view label) {
  std::vector<std::string> arguments{toolsFor(format_).format, "-L", std::string(label)};
  if (format_ == Format::ext4) {
    arguments.insert(arguments.end(), {"-q", "-F"});
  }
  arguments.push_back(device_.path());
  run(std::move(arguments));
}

void LoopVolume::mount() {
  const std::string mountTool = toolsFor(format_).mount;
  if (!mountTool.empty()) {
    run({mountTool, device_.path(), mountPoint_.path()});
  } else if (::mount(device_.path().c_str(), mountPoint_.path().c_str(), "ext4", 0, nullptr) != 0) {
    fail("mount " + device_.path());
  }
  isMounted_ = true;
}

}  // namespace tolvander::tests
