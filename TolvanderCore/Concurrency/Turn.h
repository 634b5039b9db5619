#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace tolvander {

// The turn of a serialised owner: an operation takes it on entry and holds it to its end, first come first
// served, so that no two operations of the owner interleave and none waits for ever. It is not re-entrant.
class Turn {
 public:
  // Held from construction to destruction; `release` and `retake` open it to others in between.
  class Holder {
   public:
    explicit Holder(Turn& turn);
    ~Holder();
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    // Lets the next in line go on. `retake` queues again, behind everyone who waits by then.
    void release();
    void retake();

   private:
    Turn& turn_;
    bool held_ = false;
  };

  // Opens a held turn to others while it lives, and takes it back at its end, also when an exception passes.
  class Pause {
   public:
    explicit Pause(Holder& holder) : holder_(holder) { holder_.release(); }
    ~Pause() { holder_.retake(); }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

   private:
    Holder& holder_;
  };

  // How many wait for the turn at this moment.
  std::size_t waitingCount() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t nextTicket_ = 0;
  std::uint64_t serving_ = 0;  // equal to nextTicket_ when nobody holds the turn
};

}  // namespace tolvander
