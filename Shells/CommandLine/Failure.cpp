#include "Shells/CommandLine/Failure.h"

#include <iostream>

namespace tolvander::shell {

void showFailure(std::string_view words) { std::cerr << "tolvanderctl: " << words << "\n"; }

}  // namespace tolvander::shell
