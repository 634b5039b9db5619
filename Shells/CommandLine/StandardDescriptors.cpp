#include "Shells/CommandLine/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

namespace tolvander::shell {

void openClosedStandardDescriptors() {
  // In this order each gets its own number: the system gives the lowest that is free.
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
      static_cast<void>(open("/dev/null", O_RDWR));
    }
  }
}

}  // namespace tolvander::shell
