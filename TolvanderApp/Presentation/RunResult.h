#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TolvanderApp/AppModel.h"
#include "TolvanderCore/FileURL.h"
#include "TolvanderCore/JSONWriter.h"

namespace tolvander::app {

enum class RunOutcome {
  done,
  failed,
  incomplete,  // files could not be checked, or an earlier import is unresolved
  stopped
};

std::string_view rawText(RunOutcome outcome);

// How one command ended.
struct RunResult {
  RunOutcome outcome = RunOutcome::done;
  std::string status;                  // the status line at the end
  std::optional<std::string> failure;  // in words for the user

  // What the model knows of it. `failure` is one that the model doesn't know of.
  static RunResult of(const AppModel& model, const FileURL& library, bool wasStopped,
                      std::optional<std::string> failure = std::nullopt);

  // For programs, on one line without its end: {"result":{"outcome":"done","status":…,"failure":null}}.
  std::string json() const;

  // Writes these keys into an object that has been begun.
  void write(JSONWriter& writer) const;
};

// Why a command can't begin, where that isn't a failure that the model shows.
std::optional<std::string> reasonAgainstWork(const AppModel& model);
std::string noCameraConnectedText();
std::string notASavedCameraText(const FileURL& volume);

}  // namespace tolvander::app
