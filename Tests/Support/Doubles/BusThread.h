#pragma once

#include <thread>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/System/EventLoop.h"

namespace tolvander::tests {

// Answers the calls that come in over a connection, on an event loop in a thread that ends with this object.
class BusThread {
 public:
  // The connection outlives this object, and nothing else uses it for as long as this lives.
  explicit BusThread(const platform::linux_::BusConnection& connection);
  ~BusThread();
  BusThread(const BusThread&) = delete;
  BusThread& operator=(const BusThread&) = delete;

 private:
  platform::linux_::EventLoop* loop_ = nullptr;
  std::thread thread_;
};

}  // namespace tolvander::tests
