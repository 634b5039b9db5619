#include "Tests/Support/Machine/OpenGate.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/fanotify.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace tolvander::tests {

namespace {

constexpr int longestWaitMilliseconds = 120'000;

[[noreturn]] void fail(const std::string& step) {
  throw std::runtime_error(step + ": " + std::generic_category().message(errno));
}

int newGroup() { return fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC, O_RDONLY | O_CLOEXEC | O_LARGEFILE); }

FileURL urlOfOpenFile(const OwnedDescriptor& file) {
  const std::filesystem::path link = "/proc/self/fd/" + std::to_string(file.number());
  return FileURL(std::filesystem::read_symlink(link).string());
}

}  // namespace

std::optional<std::string> OpenGate::reasonAgainst() {
  if (OwnedDescriptor(newGroup()).number() < 0) {
    return "holding who opens a file needs root and a kernel with fanotify's permission events";
  }
  return std::nullopt;
}

OpenGate::OpenGate(const FileURL& mountPoint) : group_(newGroup()) {
  if (group_.number() < 0) {
    fail("make a gate");
  }
  if (fanotify_mark(group_.number(), FAN_MARK_ADD | FAN_MARK_MOUNT, FAN_OPEN_PERM, AT_FDCWD,
                    mountPoint.path().c_str()) != 0) {
    fail("put a gate before " + mountPoint.path());
  }
}

OpenGate::~OpenGate() = default;

FileURL OpenGate::holdNext(const std::function<bool(const FileURL&)>& isMeant) {
  letIn();
  while (true) {
    pollfd event{.fd = group_.number(), .events = POLLIN, .revents = 0};
    const int ready = poll(&event, 1, longestWaitMilliseconds);
    if (ready == 0) {
      throw std::runtime_error("the chosen file is not opened");
    }
    // Room for one event, so that no other is taken along and forgotten.
    fanotify_event_metadata metadata{};
    if (ready < 0 || read(group_.number(), &metadata, sizeof metadata) != sizeof metadata) {
      fail("wait at the gate");
    }
    held_ = OwnedDescriptor(metadata.fd);
    const FileURL url = urlOfOpenFile(held_);
    if (isMeant(url)) {
      return url;
    }
    letIn();
  }
}

void OpenGate::letIn() {
  if (held_.number() < 0) {
    return;
  }
  const fanotify_response response{.fd = held_.number(), .response = FAN_ALLOW};
  if (write(group_.number(), &response, sizeof response) != sizeof response) {
    fail("continue the process");
  }
  held_ = OwnedDescriptor();
}

}  // namespace tolvander::tests
