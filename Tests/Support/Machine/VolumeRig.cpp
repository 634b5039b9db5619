#include "Tests/Support/Machine/VolumeRig.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "Platform/Linux/Mounts/MountTable.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/Tool.h"

namespace tolvander::tests {

using platform::linux_::Mount;
using platform::linux_::MountTable;

namespace {

constexpr const char* busAddress = "unix:path=/run/tolvander-rig/bus";
constexpr const char* udevd = "/lib/systemd/systemd-udevd";
constexpr const char* udisksd = "/usr/libexec/udisks2/udisksd";

constexpr int drivesOfARig = 10;

// Beyond all devices that a system makes by itself. Loop devices belong to the whole machine, so that each
// rig has ten numbers to itself, as far as process numbers tell rigs apart.
int firstDriveNumber() { return 100'000 + getpid() % 90'000 * drivesOfARig; }

[[noreturn]] void fail(const std::string& step) {
  throw std::runtime_error(step + ": " + std::generic_category().message(errno));
}

void runOrThrow(const std::vector<std::string>& arguments) {
  const ToolResult result = runTool(arguments);
  if (result.status != 0) {
    throw std::runtime_error(arguments.front() + " failed: " + result.errors);
  }
}

void mountMemory(const char* place) {
  if (mount("tmpfs", place, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
    fail(std::string("mount ") + place);
  }
}

// The folder of the mount helpers, with one for exFAT in it that the kernel's mount(8) falls back on.
void addMountHelper() {
  std::filesystem::create_directories("/run/tolvander-rig/sbin/upper");
  std::filesystem::create_directories("/run/tolvander-rig/sbin/work");
  if (mount(
          "overlay", "/usr/sbin", "overlay", 0,
          "lowerdir=/usr/sbin,upperdir=/run/tolvander-rig/sbin/upper,workdir=/run/tolvander-rig/sbin/work") !=
      0) {
    fail("lay a folder over /usr/sbin");
  }
  std::filesystem::remove("/usr/sbin/mount.exfat");
  std::filesystem::create_symlink("mount.exfat-fuse", "/usr/sbin/mount.exfat");
}

void writeConfiguration(int firstDrive) {
  const std::string tenDrives = "loop" + std::to_string(firstDrive / 10) + "[0-9]";
  writeFile(
      FileURL("/run/udev/rules.d/61-tolvander-rig.rules"),
      "SUBSYSTEM==\"block\", KERNEL==\"" + tenDrives +
          "\", ENV{ID_SERIAL}=\"TestCam_%n\", ENV{ID_SERIAL_SHORT}=\"%n\", ENV{ID_VENDOR}=\"TestVendor\", "
          "ENV{ID_MODEL}=\"TestCam\", ENV{ID_BUS}=\"usb\", ENV{ID_DRIVE_FLASH_SD}=\"1\", "
          "ENV{UDISKS_SYSTEM}=\"0\", ENV{UDISKS_AUTO}=\"1\"\n");
  writeFile(
      FileURL("/run/tolvander-rig/bus.conf"),
      "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
      "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
      "<busconfig><type>custom</type><listen>" +
          std::string(busAddress) +
          "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
          "<allow send_type=\"method_call\"/><allow send_destination=\"*\" eavesdrop=\"true\"/><allow "
          "eavesdrop=\"true\"/></policy></busconfig>\n");
  // What udisks calls to put a medium out.
  const FileURL eject("/run/tolvander-rig/bin/eject");
  writeFile(eject, "#!/bin/sh\nexec losetup -d \"$1\"\n");
  std::filesystem::permissions(eject.path(), std::filesystem::perms(0755));
}

// Starts a program that runs until the rig's processes end.
void startDaemon(std::vector<std::string> arguments, const std::string& log) {
  std::vector<char*> pointers(arguments.size() + 1, nullptr);
  std::ranges::transform(arguments, pointers.begin(), [](std::string& argument) { return argument.data(); });
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  pid_t process = 0;
  errno = posix_spawnp(&process, pointers.front(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (errno != 0) {
    fail("start " + arguments.front());
  }
}

std::vector<FileURL> mountPointsWhere(const std::function<bool(std::string_view source)>& isWanted) {
  const MountTable table = MountTable::read();
  std::vector<FileURL> places;
  for (const Mount& mount : table.mounts()) {
    if (isWanted(mount.source)) {
      places.push_back(mount.place);
    }
  }
  return places;
}

std::vector<FileURL> mountPointsOf(const FileURL& device) {
  return mountPointsWhere([&](std::string_view source) { return source == device.path(); });
}

// Its partitions too, and from the top down, where a volume is mounted over another one.
void unmountAll(const FileURL& device) {
  const std::vector<FileURL> places = mountPointsWhere([&](std::string_view source) {
    return source == device.path() || source.starts_with(device.path() + "p");
  });
  std::for_each(places.rbegin(), places.rend(), VolumeRig::unmountLazily);
}

// It hears of a device from udevd, and asks about it on its own time.
void waitForUdisks(const FileURL& device, const std::vector<std::string>& question, std::string_view answer) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (runTool(question).output.find(answer) == std::string::npos) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("udisks doesn't know " + device.path());
    }
  }
}

void waitForDevice(const FileURL& device) {
  runOrThrow({"udevadm", "wait", "--timeout=30", "--settle", device.path()});
  waitForUdisks(device, {"udisksctl", "info", "-b", device.path()}, "UDisks2/drives/");
}

// A loop device doesn't say of itself that its medium can be taken out, and udisks ejects no other.
void makeEjectable(const FileURL& device, int number) {
  const FileURL yes("/run/tolvander-rig/yes");
  writeFile(yes, "1\n");
  const std::string attribute =
      "/sys/devices/virtual/block/" + std::string(device.lastPathComponent()) + "/removable";
  if (mount(yes.path().c_str(), attribute.c_str(), nullptr, MS_BIND, nullptr) != 0) {
    fail("lay a file over " + attribute);
  }
  runOrThrow({"udevadm", "trigger", "--settle", "--action=change", device.path()});
  waitForUdisks(device, {"udisksctl", "info", "-d", "TestVendor_TestCam_" + std::to_string(number)},
                "Ejectable:                  true");
}

}  // namespace

std::optional<std::string> reasonAgainstVolumeRig() {
  for (const auto format : {LoopVolume::Format::ext4, LoopVolume::Format::exfat}) {
    if (auto reason = LoopVolume::reasonAgainst(format)) {
      return reason;
    }
  }
  for (const char* const program : {udevd, udisksd}) {
    if (access(program, X_OK) != 0) {
      return std::string(program) + " is not installed";
    }
  }
  for (const char* const program :
       {"dbus-daemon", "gdbus", "udevadm", "udisksctl", "losetup", "sfdisk", "partx", "mkfs.ext4"}) {
    if (!toolExists(program)) {
      return std::string(program) + " is not installed";
    }
  }
  return reasonAgainstPrivateMounts();
}

VolumeRig::VolumeRig(int firstDrive) : nextDrive_(firstDrive) {
  mountMemory("/run");
  mountMemory("/media");
  std::filesystem::create_directories("/dev/disk");
  mountMemory("/dev/disk");  // udevd's links; the rest of /dev is everybody's
  addMountHelper();
  writeConfiguration(firstDrive);

  // Both listen when they have gone to the background.
  runOrThrow({udevd, "--daemon"});
  runOrThrow({"dbus-daemon", "--config-file=/run/tolvander-rig/bus.conf", "--fork", "--nopidfile"});
  setenv("DBUS_SYSTEM_BUS_ADDRESS", busAddress, 1);
  const char* const searchPath = std::getenv("PATH");
  setenv("PATH",
         ("/run/tolvander-rig/bin:" + std::string(searchPath != nullptr ? searchPath : "/bin")).c_str(), 1);
  startDaemon({udisksd}, "/run/tolvander-rig/udisksd.log");
  runOrThrow({"gdbus", "wait", "--system", "--timeout", "30", "org.freedesktop.UDisks2"});
}

VolumeRig::~VolumeRig() {
  for (const auto& [device, drive] : drives_) {
    unmountAll(device);
  }
}

FileURL VolumeRig::attach(const FileURL& image, int number) {
  auto drive = std::make_unique<LoopDevice>(image, number);
  const FileURL device = drive->url();
  drives_[device] = std::move(drive);
  waitForDevice(device);
  makeEjectable(device, number);
  return device;
}

FileURL VolumeRig::plugIn(LoopVolume::Format format, std::string_view label) {
  const int number = nextDrive_++;
  const FileURL image =
      formattedImage(folder_ / ("card-" + std::to_string(number)), format, label, std::int64_t{32} << 20U);
  return attach(image, number);
}

std::vector<FileURL> VolumeRig::plugInWithTwoPartitions(std::string_view firstLabel,
                                                        std::string_view secondLabel) {
  const int number = nextDrive_++;
  const FileURL image = folder_ / ("card-" + std::to_string(number));
  writeFile(image, "");
  std::filesystem::resize_file(image.path(), std::uintmax_t{34} << 20U);
  runOrThrow({"sh", "-c", "printf 'label: dos\\n1MiB,16MiB,83\\n17MiB,16MiB,83\\n' | sfdisk --quiet \"$0\"",
              image.path()});
  runOrThrow(
      {"mkfs.ext4", "-q", "-F", "-L", std::string(firstLabel), "-E", "offset=1048576", image.path(), "16M"});
  runOrThrow({"mkfs.ext4", "-q", "-F", "-L", std::string(secondLabel), "-E", "offset=17825792", image.path(),
              "16M"});
  const FileURL device = attach(image, number);
  runOrThrow({"partx", "--add", device.path()});
  const std::vector<FileURL> partitions = {FileURL(device.path() + "p1"), FileURL(device.path() + "p2")};
  std::ranges::for_each(partitions, waitForDevice);
  return partitions;
}

bool VolumeRig::hasMedium(const FileURL& device) {
  return std::filesystem::exists("/sys/block/" + std::string(device.lastPathComponent()) +
                                 "/loop/backing_file");
}

FileURL VolumeRig::mount(const FileURL& device) {
  const std::vector<std::string> mount{"udisksctl", "mount", "--no-user-interaction", "-b", device.path()};
  // udisks removes the mount points of volumes that have left in its own time, and can so take away the one
  // that it has just made.
  if (runTool(mount).status != 0) {
    runOrThrow(mount);
  }
  const std::vector<FileURL> places = mountPointsOf(device);
  if (places.empty()) {
    throw std::runtime_error("udisks mounted nothing");
  }
  return places.back();
}

void VolumeRig::unmount(const FileURL& device) {
  runOrThrow({"udisksctl", "unmount", "--no-user-interaction", "-b", device.path()});
}

void VolumeRig::unmountLazily(const FileURL& mountPoint) {
  if (umount2(mountPoint.path().c_str(), MNT_DETACH) != 0) {
    fail("unmount " + mountPoint.path());
  }
}

void VolumeRig::unplug(const FileURL& device) {
  unmountAll(device);
  drives_.erase(device);
}

void inVolumeRig(const std::function<void(VolumeRig&)>& body) {
  inChildProcess([&] {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int firstDrive = firstDriveNumber();
    if (unshare(CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      fail("enter namespaces");
    }
    // The first process of its kind, with which all others end.
    inChildProcess([&] {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (::mount("proc", "/proc", "proc", 0, nullptr) != 0) {
        fail("mount /proc");
      }
      inChildProcess([&] {
        VolumeRig rig(firstDrive);
        body(rig);
      });
    });
    for (int number = firstDrive; number < firstDrive + drivesOfARig; ++number) {
      LoopDevice::removeNumbered(number);
    }
  });
}

}  // namespace tolvander::tests
