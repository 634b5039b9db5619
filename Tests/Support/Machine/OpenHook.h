#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Runs a function whenever a certain file or folder is opened, before the open succeeds. So a test can act
// at an exact moment of an operation that only reads, however fast the machine is (fanotify(7), permission
// events). Needs root.
class OpenHook {
 public:
  // `url` must exist. `function` runs on a thread of the hook and must not open `url`. Throws
  // std::runtime_error.
  OpenHook(const FileURL& url, std::function<void()> function);
  ~OpenHook();
  OpenHook(const OpenHook&) = delete;
  OpenHook& operator=(const OpenHook&) = delete;

  // Why a hook is not available; absent if it is.
  static std::optional<std::string> reasonAgainst();

 private:
  void answer();

  OwnedDescriptor group_;
  OwnedDescriptor end_;  // readable when the thread has to end
  std::function<void()> function_;
  std::thread thread_;
};

}  // namespace tolvander::tests
