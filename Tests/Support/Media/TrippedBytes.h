#pragma once

#include <cstddef>
#include <functional>
#include <span>

#include "Samples/JPEGBuilder.h"

namespace tolvander::tests {

// Bytes in memory that call a function when one in the middle is first read, on the reading thread and before
// the read goes on. Whatever a parser does in its first half is then done, at any speed of the machine. One
// object at a time.
class TrippedBytes {
 public:
  TrippedBytes(const Bytes& content, std::function<void()> atHalf);
  ~TrippedBytes();
  TrippedBytes(const TrippedBytes&) = delete;
  TrippedBytes& operator=(const TrippedBytes&) = delete;

  std::span<const std::byte> bytes() const { return {memory_, size_}; }

 private:
  std::byte* memory_;
  std::size_t size_;
};

}  // namespace tolvander::tests
