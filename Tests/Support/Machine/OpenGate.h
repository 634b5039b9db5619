#pragma once

#include <functional>
#include <optional>
#include <string>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Suspends every process that opens a file on a mounted file system until the test continues it, so that the
// state of the program at that moment is certain, however fast the machine is (fanotify(7), permission
// events). Needs root. The test itself must not open files there while a gate exists.
class OpenGate {
 public:
  // `mountPoint` must be a mount point. Throws std::runtime_error, like all operations here.
  explicit OpenGate(const FileURL& mountPoint);
  // Continues all suspended processes.
  ~OpenGate();
  OpenGate(const OpenGate&) = delete;
  OpenGate& operator=(const OpenGate&) = delete;

  // Why a gate is not available; absent if it is.
  static std::optional<std::string> reasonAgainst();

  // Continues processes until one opens a file that `isMeant` accepts; that process stays suspended.
  FileURL holdNext(const std::function<bool(const FileURL&)>& isMeant);

  // Continues the suspended process. The next one is suspended until the next hold, or the end of the gate.
  void letIn();

 private:
  OwnedDescriptor group_;
  OwnedDescriptor held_;
};

}  // namespace tolvander::tests
