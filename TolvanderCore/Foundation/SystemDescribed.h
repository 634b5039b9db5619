#pragma once

#include <string>

namespace tolvander {

struct SystemNames;

// The second base of an Error whose text for the user names the system, its places or its settings. The text
// takes the place of Error::description, which is absent.
class SystemDescribed {
 public:
  virtual std::string describe(const SystemNames& names) const = 0;

 protected:
  ~SystemDescribed() = default;
};

}  // namespace tolvander
