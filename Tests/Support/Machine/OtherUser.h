#pragma once

namespace tolvander::tests {

// While it lives, this thread reaches files as a user without rights of its own ("nobody"), as people do
// whose programs don't run as root. Where the tests don't run as root it changes nothing.
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
