#pragma once

#include <string>
#include <string_view>

namespace tolvander::platform::linux_ {

// The name of a file in the folder for incoming files: a random UUID and ".part".
std::string newIncomingName();
bool isIncomingName(std::string_view name);

// The name of a copy of an incoming file in the folder of its final name, when that folder is on another file
// system. Hidden, by a dot.
std::string carriedName(std::string_view incomingName);

}  // namespace tolvander::platform::linux_
