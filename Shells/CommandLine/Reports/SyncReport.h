#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Shells/CommandLine/Reports/RunResult.h"
#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/CameraRun.h"
#include "TolvanderApp/ChosenCameras.h"
#include "TolvanderApp/FlowResults.h"
#include "TolvanderApp/Platform/NotificationDelivery.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// What came of one run over the cameras.
struct SyncReport {
  using Outcome = RunOutcome;

  Outcome outcome = Outcome::done;
  std::string status;                     // the status line at the end
  std::optional<std::string> failure;     // in words for the user
  std::vector<CameraRun> cameras;         // those that were looked at, in that order
  std::vector<std::string> likelyCopies;  // names of files left out as likely in the library already
  FileURL library{"/"};                   // the folder where the pictures are

  // `failure` is one that neither the model nor the summary knows of.
  static SyncReport of(const AppModel& model, SyncSummary summary, const FileURL& library, bool wasStopped,
                       std::optional<RunFailure> failure = std::nullopt);

  // For people, with line ends: what arrived from each camera and what did not, and where the pictures are.
  // The failure isn't in it.
  std::string text() const;

  // For programs, on one line without its end: {"result":{"outcome":"done", …}} with "status", "failure"
  // (null where there is none), "cameras", "likelyCopies" and "library". A camera is an object with "volume",
  // "name", "outcome" ("done", "stopped", "cameraWentAway" or "failed"), "files" (all on the camera),
  // "imported", "videos" (among those), "notImported" (null where not all files were compared) and "setAside"
  // (paths).
  std::string json() const;
};

// One line of JSON, without its end, for what goes on during a run: {"status":"Scanning camera…"},
// {"phase":"importing","completed":3,"total":12} and {"notification":{"title":…,"body":…}}.
std::string statusJSON(const std::string& status);
std::string phaseJSON(const SyncPhase& phase);
std::string notificationJSON(const NotificationRequest& notification);

// The bar of an import on a terminal, in one line without its end: the share that is done, the status and
// the speed, which is left out in the first moments.
std::string progressBar(const SyncPhase& phase, const std::string& status,
                        std::chrono::duration<double> sinceTheImportBegan);

std::string notificationText(const NotificationRequest& notification);

// With line ends: what arrived from the camera, what did not, and what is set aside.
std::string runText(const CameraRun& run);

// One line, with its end, that names the files of a camera that the user has left out; empty without any.
std::string setAsideLine(const std::string& camera, const std::vector<std::string>& paths);

// Why a sync can't begin.
RunFailure failureOf(const SyncObstacle& obstacle);

}  // namespace tolvander::app
