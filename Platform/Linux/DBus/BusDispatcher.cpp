#include "Platform/Linux/DBus/BusDispatcher.h"

#include <sys/epoll.h>
#include <systemd/sd-bus.h>

#include "Platform/Linux/DBus/BusError.h"

namespace tolvander::platform::linux_ {

static_assert(EPOLLIN == 0x001 && EPOLLOUT == 0x004, "poll's numbers, in which sd-bus names events");

BusDispatcher::BusDispatcher(const BusConnection& connection, DescriptorWatcher& watcher)
    : connection_(connection), watcher_(watcher) {
  processMessages();
  watchDescriptor();
}

// The watcher's function must not throw. After an error the connection is lost or can't be watched any more.
void BusDispatcher::dispatch() {
  try {
    processMessages();
    watchDescriptor();
  } catch (const Error&) {
    watch_.end();
  }
}

void BusDispatcher::processMessages() {
  while (checkedBusResult(sd_bus_process(connection_.handle(), nullptr), "read from the bus") > 0) {
  }
}

// Waits for EPOLLOUT only while there is something to write.
void BusDispatcher::watchDescriptor() {
  sd_bus* bus = connection_.handle();
  const auto events = static_cast<std::uint32_t>(checkedBusResult(sd_bus_get_events(bus), "watch the bus"));
  if (events != watchedEvents_) {
    watch_.end();
    watchedEvents_ = events;
    const int descriptor = checkedBusResult(sd_bus_get_fd(bus), "watch the bus");
    watch_ = watcher_.watch(descriptor, events, [this](std::uint32_t) { dispatch(); });
  }
}

}  // namespace tolvander::platform::linux_
