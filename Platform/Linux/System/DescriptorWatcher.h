#pragma once

#include <cstdint>
#include <functional>

#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::platform::linux_ {

// A loop of the main thread, as far as something needs it that waits for a file descriptor.
class DescriptorWatcher {
 public:
  virtual ~DescriptorWatcher() = default;

  // Calls the function whenever one of `events` (EPOLLIN, EPOLLPRI, …) holds for the descriptor, and on an
  // error or a hang-up of it; `ready` are those that hold. It is called again for as long as they do, and
  // must not throw. The subscription ends before the descriptor is closed, and may end while the function
  // runs. One watch for a descriptor. Throws PosixError for one that can't be watched, as regular files
  // can't. Main thread only.
  virtual app::Subscription watch(int descriptor, std::uint32_t events,
                                  std::function<void(std::uint32_t ready)> function) = 0;
};

}  // namespace tolvander::platform::linux_
