#pragma once

namespace tolvander::platform::linux_ {

// Deletes, in a std::unique_ptr, what a C library hands out.
template <auto release>
struct Releasing {
  template <typename Handle>
  void operator()(Handle* handle) const {
    release(handle);
  }
};

}  // namespace tolvander::platform::linux_
