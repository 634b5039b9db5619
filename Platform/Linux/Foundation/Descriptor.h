#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tolvander::platform::linux_ {

// Owns one open file descriptor, or none (-1).
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      reset();
      number_ = std::exchange(other.number_, -1);
    }
    return *this;
  }

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }

  // Hands the descriptor over: closing it is the caller's business from now on.
  int release() { return std::exchange(number_, -1); }

 private:
  void reset() {
    if (number_ >= 0) {
      close(number_);
      number_ = -1;
    }
  }

  int number_ = -1;
};

// The result of a system call, which is made again for as long as a signal interrupts it.
template <typename SystemCall>
auto uninterrupted(SystemCall call) {
  while (true) {
    const auto result = call();
    if (result >= 0 || errno != EINTR) {
      return result;
    }
  }
}

}  // namespace tolvander::platform::linux_
