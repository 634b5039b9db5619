#include "TolvanderApp/Concurrency/MainThread.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace tolvander::app {

namespace {

struct Gone {
  std::mutex mutex;
  std::condition_variable changed;
  bool isGone = false;
};

// Held by a posted function, and so destroyed with it, whether it was run or not.
class GoneOnDestruction {
 public:
  explicit GoneOnDestruction(std::shared_ptr<Gone> gone) : gone_(std::move(gone)) {}
  ~GoneOnDestruction() {
    const std::lock_guard lock(gone_->mutex);
    gone_->isGone = true;
    gone_->changed.notify_all();
  }
  GoneOnDestruction(const GoneOnDestruction&) = delete;
  GoneOnDestruction& operator=(const GoneOnDestruction&) = delete;

 private:
  std::shared_ptr<Gone> gone_;
};

}  // namespace

void MainThread::postAndWait(std::function<void()> function) {
  const auto gone = std::make_shared<Gone>();
  post([function = std::move(function), end = std::make_shared<GoneOnDestruction>(gone)] { function(); });
  std::unique_lock lock(gone->mutex);
  gone->changed.wait(lock, [&] { return gone->isGone; });
}

}  // namespace tolvander::app
