#include "Tests/Support/Machine/OpenHook.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/fanotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "Tests/Support/Machine/OpenGate.h"

namespace tolvander::tests {

namespace {

int newGroup() { return fanotify_init(FAN_CLASS_CONTENT | FAN_CLOEXEC, O_RDONLY | O_CLOEXEC | O_LARGEFILE); }

}  // namespace

std::optional<std::string> OpenHook::reasonAgainst() { return OpenGate::reasonAgainst(); }

OpenHook::OpenHook(const FileURL& url, std::function<void()> function)
    : group_(newGroup()), end_(eventfd(0, EFD_CLOEXEC)), function_(std::move(function)) {
  if (group_.number() < 0 || end_.number() < 0 ||
      fanotify_mark(group_.number(), FAN_MARK_ADD, FAN_OPEN_PERM | FAN_ONDIR, AT_FDCWD, url.path().c_str()) !=
          0) {
    throw std::runtime_error("hook " + url.path() + ": " + std::generic_category().message(errno));
  }
  thread_ = std::thread([this] { answer(); });
}

OpenHook::~OpenHook() {
  const std::uint64_t one = 1;
  static_cast<void>(write(end_.number(), &one, sizeof one));
  thread_.join();
}

void OpenHook::answer() {
  while (true) {
    std::array<pollfd, 2> events = {pollfd{.fd = end_.number(), .events = POLLIN, .revents = 0},
                                    pollfd{.fd = group_.number(), .events = POLLIN, .revents = 0}};
    if (poll(events.data(), events.size(), -1) < 0 || events[0].revents != 0) {
      return;
    }
    fanotify_event_metadata event{};  // room for one, so that each is answered
    if (read(group_.number(), &event, sizeof event) != sizeof event) {
      return;
    }
    const OwnedDescriptor opened(event.fd);
    function_();
    const fanotify_response response{.fd = event.fd, .response = FAN_ALLOW};
    static_cast<void>(write(group_.number(), &response, sizeof response));
  }
}

}  // namespace tolvander::tests
