#include "Tests/VirtualMachine/Stick.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

#include "Platform/Linux/Mounts/MountTable.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {

using platform::linux_::Mount;
using platform::linux_::MountTable;

namespace fs = std::filesystem;

namespace {

const FileURL disk("/dev/disk/by-id/usb-QEMU_QEMU_HARDDISK_TOLVANDER-0:0");
const FileURL partition(disk.path() + "-part1");
const FileURL ownMountPoint("/media/stick");

void runOrThrow(const std::vector<std::string>& arguments) {
  const ToolResult result = runTool(arguments);
  if (result.status != 0) {
    throw std::runtime_error(arguments.front() + " failed: " + result.output + result.errors);
  }
}

// The machine's monitor (QEMU's QMP), which the machine reaches by a serial port of that name.
class Monitor {
 public:
  static Monitor& ofThisMachine() {
    static Monitor monitor;
    return monitor;
  }

  void execute(const std::string& command) {
    write(command);
    while (true) {
      const std::string line = nextLine();
      if (line.find("\"error\"") != std::string::npos) {
        throw std::runtime_error("the machine's monitor refuses " + command + ": " + line);
      }
      if (line.find("\"return\"") != std::string::npos) {
        return;
      }
    }
  }

 private:
  Monitor() : port_(open(portPath().c_str(), O_RDWR | O_CLOEXEC)) {
    execute(R"({"execute":"qmp_capabilities"})");
  }

  static std::string portPath() {
    std::error_code isNone;
    for (const auto& port : fs::directory_iterator("/sys/class/virtio-ports", isNone)) {
      std::string name;
      std::getline(std::ifstream(port.path() / "name"), name);
      if (name == "qmp") {
        return "/dev/" + port.path().filename().string();
      }
    }
    throw std::runtime_error("there is no port to the machine's monitor; ./dev test-vm starts this program");
  }

  void write(const std::string& command) const {
    const std::string line = command + "\n";
    if (::write(port_.number(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
      throw std::runtime_error("can't write to the machine's monitor");
    }
  }

  std::string nextLine() {
    while (true) {
      if (const std::size_t end = read_.find('\n'); end != std::string::npos) {
        const std::string line = read_.substr(0, end);
        read_.erase(0, end + 1);
        return line;
      }
      char buffer[1024];
      const ssize_t count = read(port_.number(), buffer, sizeof buffer);
      if (count <= 0) {
        throw std::runtime_error("can't read from the machine's monitor");
      }
      read_.append(buffer, static_cast<std::size_t>(count));
    }
  }

  OwnedDescriptor port_;
  std::string read_;
};

std::vector<FileURL> mountPoints() {
  const MountTable table = MountTable::read();
  std::vector<FileURL> places;
  for (const Mount& mount : table.mounts()) {
    if (mount.source.starts_with("/dev/sd")) {
      places.push_back(mount.place);
    }
  }
  return places;
}

}  // namespace

std::string nameOf(Stick::Format format) { return format == Stick::Format::vfat ? "vfat" : "exfat"; }

Stick::Stick(Format format, Medium medium) : format_(format), medium_(medium) {
  // A new one each time, and each of them with the volume as it was formatted.
  static int sticks = 0;
  node_ = "stick" + std::to_string(++sticks);
  const char* const folder = std::getenv("TOLVANDER_STICKS");
  const std::string image = std::string(folder != nullptr ? folder : "") + "/" + nameOf(format) + "-";
  static std::map<Format, int> used;
  Monitor::ofThisMachine().execute(R"({"execute":"blockdev-add","arguments":{"driver":"raw","node-name":")" +
                                   node_ + R"(","file":{"driver":"file","filename":")" + image +
                                   std::to_string(++used[format]) + R"("}}})");
  plugIn();
}

Stick::~Stick() {
  try {
    unmount();
    if (isAttached_) {  // one that was switched off is still there
      pullOut();
    }
  } catch (const std::exception&) {
    return;  // the next one's plugIn says what is wrong
  }
}

FileURL Stick::device() const { return FileURL(fs::canonical(partition.path()).string()); }

bool Stick::isPluggedIn() const { return fs::exists(disk.path()); }

bool Stick::hasMedium() const { return fs::exists(partition.path()); }

FileURL Stick::mount() const {
  runOrThrow({"udisksctl", "mount", "--no-user-interaction", "-b", device().path()});
  const std::vector<FileURL> places = mountPoints();
  if (places.empty()) {
    throw std::runtime_error("udisks mounted nothing");
  }
  return places.back();
}

FileURL Stick::mount(const std::string& options) const {
  fs::create_directories(ownMountPoint.path());
  runOrThrow({"mount", "-t", nameOf(format_), "-o", options.empty() ? "rw" : options, device().path(),
              ownMountPoint.path()});
  return ownMountPoint;
}

void Stick::unmount() const {
  for (const FileURL& place : mountPoints()) {
    if (umount2(place.path().c_str(), isPluggedIn() ? 0 : MNT_DETACH) != 0) {
      throw std::runtime_error("can't unmount " + place.path());
    }
  }
}

void Stick::pullOut() {
  Monitor::ofThisMachine().execute(R"({"execute":"device_del","arguments":{"id":"stick"}})");
  isAttached_ = false;
  runOrThrow({"udevadm", "wait", "--timeout=60", "--removed", disk.path()});
}

void Stick::plugIn() {
  Monitor::ofThisMachine().execute(
      R"({"execute":"device_add","arguments":{"driver":"usb-storage","id":"stick","drive":")" + node_ +
      R"(","bus":"usb.0","serial":"TOLVANDER","removable":)" +
      (medium_ == Medium::removable ? "true" : "false") + "}}");
  isAttached_ = true;
  runOrThrow({"udevadm", "wait", "--timeout=60", "--settle", partition.path()});
  for (int attempt = 0; runTool({"udisksctl", "info", "-b", device().path()}).status != 0; ++attempt) {
    if (attempt == 100) {
      throw std::runtime_error("udisks doesn't know the stick");
    }
  }
}

}  // namespace tolvander::tests
