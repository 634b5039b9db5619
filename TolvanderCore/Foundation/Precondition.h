#pragma once

#include <string_view>

namespace tolvander {

// Ends the process with a message when `holds` is false. For programming errors only: a wrong argument from
// our own code, an impossible state. In force in every build, because going on would risk the user's
// pictures.
void precondition(bool holds, std::string_view message, const char* file = __builtin_FILE(),
                  int line = __builtin_LINE());

}  // namespace tolvander
