#pragma once

#include <exception>
#include <string>

#include "TolvanderCore/SystemNames.h"

namespace tolvander::app {

// What went wrong, for people, without a line end: the error's own description, our words where it has none
// (a picture can't be planned, a file can't be staged, the disk is full, memory ran out, access was denied),
// else the diagnostic text of our own error. Never the text of another library's error. Can be shown on a
// terminal whatever a file is called. `names` are those of the system that the program runs on.
std::string failureText(const std::exception& error, const SystemNames& names);

// For programs, on one line without its end: {"error":{"case":"invalidVideo","message":"…"}}, where "case" is
// Error::caseName() and missing where that is empty, and "message" is failureText.
std::string failureJSON(const std::exception& error, const SystemNames& names);

// failureText of a failure that was kept. It must not be null.
std::string failureText(const std::exception_ptr& failure, const SystemNames& names);

}  // namespace tolvander::app
