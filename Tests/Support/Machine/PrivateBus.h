#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

// A message bus that nobody else is on, at the same address for as long as this lives. It starts no services.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  // Why there can be none here; absent when there can.
  static std::optional<std::string> reasonAgainst();

  std::string address() const;

  // The bus ends, and everybody's connection with it. `start` gives a new one.
  void stop();
  void start();

 private:
  TemporaryFolder folder_;
  pid_t process_ = -1;
};

}  // namespace tolvander::tests
