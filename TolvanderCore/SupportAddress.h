#pragma once

#include <string>

namespace tolvander {

// The e-mail address at which users get help. Chosen when the program is built (TOLVANDER_SUPPORT_EMAIL).
std::string supportAddress();

}  // namespace tolvander
