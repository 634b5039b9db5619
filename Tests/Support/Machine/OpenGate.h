#pragma once

#include <functional>
#include <optional>
#include <string>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Holds every process that opens a file of a mounted file system, until the test lets it in: what the program
// does at that moment is then certain, however fast the machine is (fanotify(7), permission events). Needs
// root. The test itself must not open files there while there is a gate.
class OpenGate {
 public:
  // `mountPoint` is one. Throws std::runtime_error like all operations here.
  explicit OpenGate(const FileURL& mountPoint);
  // Lets everybody in.
  ~OpenGate();
  OpenGate(const OpenGate&) = delete;
  OpenGate& operator=(const OpenGate&) = delete;

  // Why there can't be a gate here; absent when there can.
  static std::optional<std::string> reasonAgainst();

  // Lets in who comes, until somebody opens a file that is meant. Who does so waits from then on.
  FileURL holdNext(const std::function<bool(const FileURL&)>& isMeant);

  // Lets in who was held. Whoever comes next waits until the next hold, or the end of the gate.
  void letIn();

 private:
  OwnedDescriptor group_;
  OwnedDescriptor held_;
};

}  // namespace tolvander::tests
