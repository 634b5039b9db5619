#pragma once

#include <errno.h>
#include <unistd.h>

#include <utility>

namespace tolvander {

// Owns one open file descriptor, or none (-1), and closes it at its end. A value that can be moved; for one
// thread at a time.
class OwnedDescriptor {
 public:
  OwnedDescriptor() = default;
  explicit OwnedDescriptor(int number) : number_(number) {}
  // Keeps errno, so that the caller can still read the error of an earlier system call.
  ~OwnedDescriptor() {
    const int earlierError = errno;
    close();
    errno = earlierError;
  }
  OwnedDescriptor(OwnedDescriptor&& other) noexcept : number_(other.release()) {}
  OwnedDescriptor& operator=(OwnedDescriptor other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }

  // Passes the ownership to the caller, who has to close the returned descriptor.
  int release() { return std::exchange(number_, -1); }

  // Closes the descriptor now. Returns the errno value of a failure, or 0. Network file systems and quotas
  // report some failed writes only here. The descriptor is closed after a failure too. An interrupted close
  // counts as a success: the descriptor must not be closed again.
  int close() {
    if (number_ < 0 || ::close(release()) == 0 || errno == EINTR) {
      return 0;
    }
    return errno;
  }

 private:
  int number_ = -1;
};

// Makes a system call again until no signal interrupts it. Returns the call's result; errno is that of the
// last attempt.
template <typename SystemCall>
auto retryOnEINTR(SystemCall call) {
  while (true) {
    const auto result = call();
    if (result >= 0 || errno != EINTR) {
      return result;
    }
  }
}

}  // namespace tolvander
