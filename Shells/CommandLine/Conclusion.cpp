#include "Shells/CommandLine/Conclusion.h"

#include "Shells/CommandLine/Failure.h"

namespace tolvander::shell {

using app::RunOutcome;

namespace {

ExitStatus exitStatus(RunOutcome outcome) {
  switch (outcome) {
    case RunOutcome::done:
      return ExitStatus::done;
    case RunOutcome::failed:
      return ExitStatus::failed;
    case RunOutcome::incomplete:
      return ExitStatus::incomplete;
    case RunOutcome::cameraWentAway:
      return ExitStatus::cameraWentAway;
    case RunOutcome::noCamera:
      return ExitStatus::noCamera;
    case RunOutcome::stopped:
      break;
  }
  return ExitStatus::stopped;
}

}  // namespace

ExitStatus conclude(RunOutcome outcome, const std::optional<std::string>& failure) {
  if (failure && outcome != RunOutcome::stopped) {
    showFailure(*failure);
  }
  return exitStatus(outcome);
}

ExitStatus conclude(const app::FlowOutcome& outcome) {
  return conclude(app::runOutcome(outcome.end),
                  outcome.failure ? std::optional(app::failureText(*outcome.failure)) : std::nullopt);
}

}  // namespace tolvander::shell
