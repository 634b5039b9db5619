#pragma once

#include <optional>
#include <string>

#include "Shells/CommandLine/Command.h"
#include "Shells/CommandLine/Reports/RunResult.h"

namespace tolvander::shell {

// How a command ends that came to this: shows the failure, unless the user has stopped it.
ExitStatus conclude(app::RunOutcome outcome, const std::optional<std::string>& failure);
ExitStatus conclude(const app::FlowOutcome& outcome);

}  // namespace tolvander::shell
