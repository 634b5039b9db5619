#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace tolvander {

// A mutex that threads acquire in the order in which they asked for it (a ticket lock), so that none waits
// forever. Classes whose operations must not interleave hold it from the start to the end of each operation.
// Works with std::lock_guard and std::unique_lock. Not recursive.
class FairMutex {
 public:
  void lock();
  void unlock();

  // How many threads wait for it at this moment.
  std::size_t waitingCount() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t nextTicket_ = 0;
  std::uint64_t serving_ = 0;  // equal to nextTicket_ while the mutex is free
};

// Unlocks a held lock while it exists. At its end it locks again, behind the threads that wait by then, also
// when an exception passes.
class ReverseLock {
 public:
  explicit ReverseLock(std::unique_lock<FairMutex>& lock) : lock_(lock) { lock_.unlock(); }
  ~ReverseLock() { lock_.lock(); }
  ReverseLock(const ReverseLock&) = delete;
  ReverseLock& operator=(const ReverseLock&) = delete;

 private:
  std::unique_lock<FairMutex>& lock_;
};

}  // namespace tolvander
