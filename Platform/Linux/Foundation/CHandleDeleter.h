#pragma once

namespace tolvander::platform::linux_ {

// The deleter of a std::unique_ptr to an object of a C library: calls the library's function `release`.
template <auto release>
struct CHandleDeleter {
  template <typename Handle>
  void operator()(Handle* handle) const {
    release(handle);
  }
};

}  // namespace tolvander::platform::linux_
