#include "Tests/Support/Machine/OpenWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace tolvander::tests {

OpenWatch::OpenWatch(const FileURL& url) : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (descriptor_ < 0 || inotify_add_watch(descriptor_, url.path().c_str(), IN_OPEN) < 0) {
    throw std::runtime_error("the file can't be watched");
  }
}

OpenWatch::~OpenWatch() { close(descriptor_); }

bool OpenWatch::wasOpened() const {
  std::array<char, 4096> events{};
  return read(descriptor_, events.data(), events.size()) > 0;
}

}  // namespace tolvander::tests
