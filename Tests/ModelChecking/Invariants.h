#pragma once

#include <optional>
#include <string>

#include "Tests/ModelChecking/SyncModel.h"

namespace tolvander::tests {

// The invariants of every transition.
enum class Rule {
  onceInTheLibrary = 1,    // no source is imported twice, or if the user's library already holds it
  recordOrMark,            // every imported item has a record or a mark
  marksNeedProof,          // a mark is removed only after a match by content or a definite failure
  metadataClearsNoMark,    // a match by metadata doesn't remove a mark
  metadataRemovesNothing,  // only a file that the library holds can be removed from the camera
  doubtImportsNothing,     // no unchecked file and no file of an interrupted import is imported
  cameraStaysAsItIs,       // the camera's files are not changed
  recordsTellTheTruth,     // a new record names an item that exists and holds the file
  nothingIsLost,  // after a successful command, each file is in the library or was reported as skipped
};

struct Violation {
  Rule rule;
  std::string text;
};

// The first invariant that the transition violates, if any.
std::optional<Violation> violationIn(const SyncModel& model, const State& before,
                                     const Transition& transition);

}  // namespace tolvander::tests
