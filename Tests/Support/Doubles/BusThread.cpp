#include "Tests/Support/Doubles/BusThread.h"

#include <future>

#include "Platform/Linux/DBus/BusDispatcher.h"

namespace tolvander::tests {

BusThread::BusThread(const platform::linux_::BusConnection& connection) {
  std::promise<platform::linux_::EventLoop*> started;
  thread_ = std::thread([&connection, &started] {
    platform::linux_::EventLoop loop;
    const platform::linux_::BusDispatcher dispatcher(connection, loop);
    started.set_value(&loop);
    loop.run();
  });
  loop_ = started.get_future().get();
}

BusThread::~BusThread() {
  loop_->stop();
  thread_.join();
}

}  // namespace tolvander::tests
