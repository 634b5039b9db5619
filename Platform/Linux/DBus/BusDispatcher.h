#pragma once

#include <cstdint>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/System/DescriptorWatcher.h"
#include "TolvanderApp/Concurrency/Subscription.h"

namespace tolvander::platform::linux_ {

// Answers incoming calls of a connection, on the main thread and without blocking it, until it is destroyed
// or the connection is lost. Nothing else may use the connection during that time: a blocking call would
// read messages, and the descriptor would not become ready for them.
class BusDispatcher {
 public:
  // Answers calls that have already arrived before it returns. The connection and the watcher must outlive
  // this object. Main thread only. Throws BusError and PosixError.
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
