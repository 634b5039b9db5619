#include "TolvanderApp/Platform/OperatingSystemVersion.h"

#include <sys/utsname.h>

#include <charconv>
#include <string_view>
#include <system_error>

namespace tolvander::app {

namespace {

// Removes the number at the start of the text and the dot after it. Returns 0 if there is none.
std::int64_t takeNumber(std::string_view& text) {
  std::int64_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc()) {
    text = {};
    return 0;
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  text = text.starts_with('.') ? text.substr(1) : std::string_view();
  return number;
}

}  // namespace

// The version of the kernel: "6.1.0-28-amd64" is 6, 1, 0.
OperatingSystemVersion OperatingSystemVersion::current() {
  utsname names{};
  if (uname(&names) != 0) {
    return {};
  }
  std::string_view release(names.release);
  OperatingSystemVersion version;
  version.major = takeNumber(release);
  version.minor = takeNumber(release);
  version.patch = takeNumber(release);
  return version;
}

}  // namespace tolvander::app
