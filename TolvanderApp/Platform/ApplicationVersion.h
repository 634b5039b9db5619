#pragma once

#include <optional>
#include <string>

namespace tolvander::app {

// What the application's bundle says of its version. Absent where the bundle doesn't say.
struct ApplicationVersion {
  std::optional<std::string> shortVersion;  // of the release: "1.4.2" (CFBundleShortVersionString)
  std::optional<std::string> build;         // counts builds: "118" (CFBundleVersion)

  friend bool operator==(const ApplicationVersion&, const ApplicationVersion&) = default;
};

}  // namespace tolvander::app
