#pragma once

namespace tolvander::tests {

// While it exists, this thread accesses files as an unprivileged user ("nobody"), like users whose programs
// don't run as root. Has no effect if the tests don't run as root.
class OtherUser {
 public:
  OtherUser();
  ~OtherUser();
  OtherUser(const OtherUser&) = delete;
  OtherUser& operator=(const OtherUser&) = delete;

 private:
  unsigned previous_;
};

}  // namespace tolvander::tests
