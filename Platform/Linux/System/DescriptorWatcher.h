#pragma once

#include <cstdint>
#include <functional>

#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::platform::linux_ {

// The part of the main thread's event loop that waits for file descriptors.
class DescriptorWatcher {
 public:
  virtual ~DescriptorWatcher() = default;

  // Calls the function when one of `events` (EPOLLIN, EPOLLPRI, …) is ready, and on an error or hang-up;
  // `ready` are the events that are. Level-triggered: it is called again as long as they are. It must not
  // throw. The subscription must end before the descriptor is closed, and may end within the function. At
  // most one watch per descriptor. Throws PosixError if the descriptor can't be watched, for example that of
  // a regular file. Main thread only.
  virtual app::Subscription watch(int descriptor, std::uint32_t events,
                                  std::function<void(std::uint32_t ready)> function) = 0;
};

}  // namespace tolvander::platform::linux_
