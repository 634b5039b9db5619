#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Runs a function whenever one file or folder is opened, before the opening goes on: what a test does in the
// middle of an operation that only reads is then done at a certain moment, however fast the machine is
// (fanotify(7), permission events). Needs root.
class OpenHook {
 public:
  // `url` is there. `function` runs on a thread of the hook and must not open `url` itself. Throws
  // std::runtime_error.
  OpenHook(const FileURL& url, std::function<void()> function);
  ~OpenHook();
  OpenHook(const OpenHook&) = delete;
  OpenHook& operator=(const OpenHook&) = delete;

  // Why there can't be a hook here; absent when there can.
  static std::optional<std::string> reasonAgainst();

 private:
  void answer();

  OwnedDescriptor group_;
  OwnedDescriptor end_;  // readable once the thread is to end
  std::function<void()> function_;
  std::thread thread_;
};

}  // namespace tolvander::tests
