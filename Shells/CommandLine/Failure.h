#pragma once

#include <string_view>

namespace tolvander::shell {

// Shows what went wrong on the standard error.
void showFailure(std::string_view words);

}  // namespace tolvander::shell
