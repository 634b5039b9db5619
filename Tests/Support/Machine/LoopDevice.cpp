#include "Tests/Support/Machine/LoopDevice.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {

namespace {

constexpr const char* controlDevice = "/dev/loop-control";

[[noreturn]] void fail(const std::string& step) {
  throw std::runtime_error(step + ": " + std::generic_category().message(errno));
}

OwnedDescriptor opened(const std::string& path) {
  OwnedDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (!file) {
    fail("open " + path);
  }
  return file;
}

FileURL deviceNumbered(int number) { return FileURL("/dev/loop" + std::to_string(number)); }

void detachDevice(const FileURL& device) {
  const OwnedDescriptor file(open(device.path().c_str(), O_RDONLY | O_CLOEXEC));
  ioctl(file.number(), LOOP_CLR_FD);
}

}  // namespace

std::optional<std::string> LoopDevice::reasonAgainst() {
  if (geteuid() != 0) {
    return "a loop device needs root";
  }
  if (access(controlDevice, R_OK | W_OK) != 0) {
    return "there are no loop devices";
  }
  return std::nullopt;
}

LoopDevice::LoopDevice(const FileURL& image) : url_(controlDevice) {
  const OwnedDescriptor control = opened(controlDevice);
  do {
    const int number = ioctl(control.number(), LOOP_CTL_GET_FREE);
    if (number < 0) {
      fail("find a free loop device");
    }
    url_ = deviceNumbered(number);
  } while (!attach(image));
}

LoopDevice::LoopDevice(const FileURL& image, int first) : url_(controlDevice) {
  const OwnedDescriptor control = opened(controlDevice);
  for (int number = first; !madeNumber_; ++number) {
    if (ioctl(control.number(), LOOP_CTL_ADD, number) >= 0) {
      madeNumber_ = number;
    } else if (errno != EEXIST) {
      fail("make a loop device");
    }
  }
  url_ = deviceNumbered(*madeNumber_);
  if (!attach(image)) {
    throw std::runtime_error("another process took " + url_.path());
  }
}

LoopDevice::~LoopDevice() {
  detach();
  if (madeNumber_) {
    removeNumbered(*madeNumber_);
  }
}

void LoopDevice::removeNumbered(int number) {
  const OwnedDescriptor control(open(controlDevice, O_RDWR | O_CLOEXEC));
  detachDevice(deviceNumbered(number));
  // A file system in a user's process lets go of its device only after it is unmounted.
  const auto isBusy = [&] { return ioctl(control.number(), LOOP_CTL_REMOVE, number) < 0 && errno == EBUSY; };
  constexpr int milliseconds = 5;
  for (int triesLeft = 2000; triesLeft > 0 && isBusy(); --triesLeft) {
    poll(nullptr, 0, milliseconds);
  }
}

// Whether it was still free.
bool LoopDevice::attach(const FileURL& image) {
  const OwnedDescriptor backing = opened(image.path());
  loop_config configuration{};
  configuration.fd = static_cast<std::uint32_t>(backing.number());
  isAttached_ = ioctl(opened(url_.path()).number(), LOOP_CONFIGURE, &configuration) == 0;
  if (!isAttached_ && errno != EBUSY) {
    fail("attach " + url_.path());
  }
  return isAttached_;
}

void LoopDevice::detach() {
  if (std::exchange(isAttached_, false)) {
    detachDevice(url_);
  }
}

}  // namespace tolvander::tests
