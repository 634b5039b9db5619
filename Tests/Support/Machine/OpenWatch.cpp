#include "Tests/Support/Machine/OpenWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace tolvander::tests {

OpenWatch::OpenWatch(const FileURL& url) : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (!events_ || inotify_add_watch(events_.number(), url.path().c_str(), IN_OPEN) < 0) {
    throw std::runtime_error("the file can't be watched");
  }
}

bool OpenWatch::wasOpened() const {
  std::array<char, 4096> events{};
  return read(events_.number(), events.data(), events.size()) > 0;
}

}  // namespace tolvander::tests
