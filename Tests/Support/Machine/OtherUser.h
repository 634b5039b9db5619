#pragma once

namespace tolvander::tests {

// While an object of this class exists, the calling thread accesses files as the unprivileged system user
// "nobody". Without root rights it does nothing.
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
