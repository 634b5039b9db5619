#include "Tests/Support/Machine/OtherUser.h"

#include <sys/fsuid.h>

namespace tolvander::tests {

namespace {

constexpr unsigned nobody = 65534;

}  // namespace

OtherUser::OtherUser() : previous_(static_cast<unsigned>(setfsuid(nobody))) {}

OtherUser::~OtherUser() { setfsuid(previous_); }

}  // namespace tolvander::tests
