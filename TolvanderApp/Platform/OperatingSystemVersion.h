#pragma once

#include <cstdint>

namespace tolvander::app {

// Of the system that this process runs on.
struct OperatingSystemVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  // A number that the system doesn't tell is 0.
  static OperatingSystemVersion current();

  friend bool operator==(const OperatingSystemVersion&, const OperatingSystemVersion&) = default;
};

}  // namespace tolvander::app
