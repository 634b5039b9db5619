#include "TolvanderCore/Foundation/Precondition.h"

#include <cstdio>
#include <cstdlib>

namespace tolvander {

void precondition(bool holds, std::string_view message, const char* file, int line) {
  if (holds) {
    return;
  }
  std::fprintf(stderr, "%s:%d: precondition failed: %.*s\n", file, line, static_cast<int>(message.size()),
               message.data());
  std::abort();
}

}  // namespace tolvander
