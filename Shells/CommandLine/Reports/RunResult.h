#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TolvanderApp/AppModel.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::app {

enum class RunOutcome {
  done,
  failed,
  incomplete,      // files could not be checked, or an earlier import is unresolved
  cameraWentAway,  // before its work was done
  noCamera,        // none was looked at: none is saved, or none of the saved ones is here
  stopped          // by the user
};

std::string_view rawText(RunOutcome outcome);

// What the end of a flow is for its command. Where the user declined, it has failed.
RunOutcome runOutcome(FlowEnd end);

// A failure that the model doesn't know of.
struct RunFailure {
  std::string words;  // for the user
  RunOutcome outcome = RunOutcome::failed;
};

// The words of a failure, behind the name of the file that it is about, if it is about one.
std::string failureText(const FlowFailure& failure);

// How one command ended.
struct RunResult {
  RunOutcome outcome = RunOutcome::done;
  std::string status;                  // the status line at the end
  std::optional<std::string> failure;  // in words for the user

  static RunResult of(const AppModel& model, const FileURL& library, bool wasStopped,
                      std::optional<RunFailure> failure = std::nullopt);

  // For programs, on one line without its end: {"result":{"outcome":"done","status":…,"failure":null}}.
  std::string json() const;

  // Writes these keys into an object that has been begun.
  void write(JSONWriter& writer) const;
};

// Why a command can't begin, where that isn't a failure that the model shows.
std::optional<std::string> reasonAgainstWork(const AppModel& model);
RunFailure noCameraConnected();
RunFailure cameraWentAway();
std::string notASavedCameraText(const FileURL& volume);

}  // namespace tolvander::app
