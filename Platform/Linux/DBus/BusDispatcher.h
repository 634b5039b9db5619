#pragma once

#include <cstdint>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/System/DescriptorWatcher.h"
#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::platform::linux_ {

// Answers calls that come in over a connection, on the main thread and without blocking it, from its
// construction to its end or to that of the bus. Nothing else uses the connection for as long as this lives:
// a blocking call would read messages which the watched descriptor then no longer announces.
class BusDispatcher {
 public:
  // Answers at once what has come already. The connection and the watcher outlive this object. Main thread
  // only. Throws BusError and PosixError.
  BusDispatcher(const BusConnection& connection, DescriptorWatcher& watcher);
  BusDispatcher(const BusDispatcher&) = delete;
  BusDispatcher& operator=(const BusDispatcher&) = delete;

 private:
  void dispatch();
  void processMessages();
  void watchDescriptor();

  const BusConnection& connection_;
  DescriptorWatcher& watcher_;
  std::uint32_t watchedEvents_ = 0;
  app::Subscription watch_;
};

}  // namespace tolvander::platform::linux_
