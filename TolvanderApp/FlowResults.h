#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/CameraRun.h"
#include "TolvanderApp/Concurrency/TaskScope.h"
#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderCore/Foundation/FileURL.h"

// What the flows of the model give back to the caller that started them.
namespace tolvander::app {

enum class FlowEnd {
  done,
  declined,        // the user answered that nothing is to be done
  stopped,         // by the user, by an eject, by other work that came first, or by a loss of access
  cameraWentAway,  // before everything was done
  failed
};

struct FlowFailure {
  std::string words;                // for the user
  std::optional<std::string> file;  // the name of the file that the failure is about

  friend bool operator==(const FlowFailure&, const FlowFailure&) = default;
};

// How a flow ended.
struct FlowOutcome {
  FlowEnd end = FlowEnd::done;
  std::optional<FlowFailure> failure{};  // only with FlowEnd::failed

  friend bool operator==(const FlowOutcome&, const FlowOutcome&) = default;
};

// The result of a sync of all connected cameras. When another sync was requested while it ran, that one
// follows and its result is included. `cameras` is empty when no camera was connected, when the sync was
// refused, and when it was requested while another flow ran.
struct SyncSummary {
  FlowOutcome outcome{};
  std::vector<CameraRun> cameras{};  // in the order in which they were synced; a later sync adds its own

  // Adds a later sync. What ended badly before still counts unless the later one ended worse.
  void append(SyncSummary later);
};

// A check of the connected cameras against the library.
struct CheckResult {
  FlowOutcome outcome{};
  std::vector<DeviceLibraryReview> reviews{};  // also those that were made before the check was stopped
};

// The import of what a check found to be missing from one camera.
struct RestoreResult {
  FlowOutcome outcome{};
  std::optional<CameraRun> run{};  // absent where the import did not begin
};

// Files of one camera that were moved out of the Trash.
struct CleanupResult {
  FlowOutcome outcome{};
  std::int64_t fileCount = 0;  // deleted for good, or put back on the camera
};

// A change of the album.
struct AlbumResult {
  FlowOutcome outcome{};
  std::int64_t addedCount = 0;  // items that the album did not hold before
};

// A camera that the user was asked to choose, and the sync that followed where setup is complete.
struct AddedCamera {
  FlowOutcome outcome{};
  std::optional<FileURL> volume{};  // absent where none was saved
  SyncSummary sync{};
};

// The result of an operation that starts a flow; absent where the model refuses to start it. Dropping the
// handle changes nothing.
template <typename Result>
using Started = std::optional<ValueTaskHandle<Result>>;

}  // namespace tolvander::app
