#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

// A private message bus, with the same address as long as this object exists. It starts no services.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  // Why it is not available; absent if it is.
  static std::optional<std::string> reasonAgainst();

  std::string address() const;

  // Ends the bus and all connections to it. `start` starts a new one.
  void stop();
  void start();

 private:
  TemporaryFolder folder_;
  pid_t process_ = -1;
};

}  // namespace tolvander::tests
