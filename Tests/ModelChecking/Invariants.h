#pragma once

#include <optional>
#include <string>

#include "Tests/ModelChecking/World.h"

namespace tolvander::tests {

// What may never be broken, whatever happens.
enum class Rule {
  onceInTheLibrary = 1,    // we put no source into the library twice, and none that the user has there
  recordOrMark,            // each item that we put there has a record or a mark
  marksNeedProof,          // a mark is cleared only by content or by a definite failure
  metadataClearsNoMark,    // and by metadata least of all
  metadataRemovesNothing,  // only a file that the library really holds can be removed from the camera
  doubtImportsNothing,     // no unchecked file and none of an interrupted import is imported
  cameraStaysAsItIs,       // to the last byte
  recordsTellTheTruth,     // nothing is recorded that isn't there
  nothingIsLost,  // each file of the card is in the library when all is said to be well, or is named as left
                  // out
};

struct Violation {
  Rule rule;
  std::string text;
};

// The first rule that is broken by what happened, if one is.
std::optional<Violation> violationIn(const World& world, const State& before, const Transition& transition);

}  // namespace tolvander::tests
