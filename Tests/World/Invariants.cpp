#include "Tests/World/Invariants.h"

#include <algorithm>

namespace tolvander::tests {

namespace {

using Verdict = std::optional<Violation>;
using Sources = std::set<std::string>;

bool wasMarked(const State& before, const std::string& source) {
  return before.history.pendingImports.contains(source);
}

// Where the search overlooks nothing and all cameras are known as what they are, not even a picture under
// another header is repeated.
bool picturesAreKnown(const Setting& setting) {
  return !setting.searchCanMiss && std::ranges::find(setting.isCharmera, false) == setting.isCharmera.end();
}

Verdict onceInTheLibrary(const World& world, const State& after) {
  Sources seen;
  for (const auto& [asset, item] : after.library) {
    const std::string identity = picturesAreKnown(world.setting()) ? pictureOf(item.source) : item.source;
    if (item.isOurs && !seen.insert(identity).second) {
      return Violation{Rule::onceInTheLibrary, identity + " is in the library twice"};
    }
  }
  return std::nullopt;
}

Verdict recordOrMark(const State& after) {
  for (const auto& [asset, item] : after.library) {
    if (item.isOurs && !after.history.imports.contains(item.source) &&
        !after.history.pendingImports.contains(item.source)) {
      return Violation{Rule::recordOrMark, asset + " has neither a record nor a mark"};
    }
  }
  return std::nullopt;
}

// An old record that got the payload fingerprint of today is a new record on content, and clears its mark.
// That proves nothing about the interrupted import, so the run that does it may neither end well nor import
// the file.
bool isBroughtUpToDate(const std::string& source, const State& before, const Conduct& conduct) {
  const ImportRecord* record = before.history.imports.find(source);
  const bool hasNewPayload =
      std::ranges::any_of(conduct.scanned, [&](const FingerprintedMediaFile& file) {
        return file.sourceFingerprint == source && file.mediaPayloadFingerprint &&
               record->mediaPayloadFingerprint != file.mediaPayloadFingerprint;
      });
  return conduct.isRun && conduct.ending != Ending::completed && !conduct.handed.contains(source) &&
         hasNewPayload && record->isContentConfirmed();
}

bool mayBeCleared(const std::string& source, const State& before, const Conduct& conduct) {
  const bool isOfThisImport = conduct.marked.contains(source) && !wasMarked(before, source);
  return conduct.foundByContent.contains(source) ||
         (isOfThisImport && (conduct.answered.contains(source) || conduct.refused.contains(source))) ||
         (before.history.imports.contains(source) && isBroughtUpToDate(source, before, conduct));
}

Verdict marks(const State& before, const Transition& transition) {
  Sources marked = before.history.pendingImports;
  marked.insert(transition.conduct.marked.begin(), transition.conduct.marked.end());
  for (const std::string& source : marked) {
    if (!transition.after.history.pendingImports.contains(source) &&
        !mayBeCleared(source, before, transition.conduct)) {
      const bool isByMetadata = transition.conduct.foundByMetadata.contains(source);
      return Violation{isByMetadata ? Rule::metadataClearsNoMark : Rule::marksNeedProof,
                       "the mark of " + source + " is cleared"};
    }
  }
  return std::nullopt;
}

// A cleanup removes files with a record on content whose asset exists.
Verdict metadataRemovesNothing(const State& after) {
  for (const ImportRecord& record : after.history.imports) {
    const auto item = after.library.find(record.photosAssetIdentifier.value_or(""));
    if (record.isContentConfirmed() && item != after.library.end() &&
        pictureOf(item->second.source) != pictureOf(record.sourceFingerprint)) {
      return Violation{Rule::metadataRemovesNothing,
                       record.sourceFingerprint + " can be removed, but " + item->first + " doesn't hold it"};
    }
  }
  return std::nullopt;
}

// The sources of the card that were marked and not found by content.
Sources interrupted(const State& before, const Conduct& conduct) {
  Sources sources;
  for (const FingerprintedMediaFile& file : conduct.scanned) {
    if (wasMarked(before, file.sourceFingerprint) &&
        !conduct.foundByContent.contains(file.sourceFingerprint)) {
      sources.insert(file.sourceFingerprint);
    }
  }
  return sources;
}

bool isTwinOfOneOf(const std::string& source, const Sources& others, const Setting& setting) {
  return std::ranges::any_of(others, [&](const std::string& other) {
    return source == other || (picturesAreKnown(setting) && pictureOf(source) == pictureOf(other));
  });
}

// Whether a file that the search left unchecked holds up the import of others. Not so in a restore, if it is
// recorded, also on metadata alone, and its asset exists: then it is the record that decides, and not to
// import it.
bool holdsUpOthers(const std::string& source, const State& after, const Conduct& conduct) {
  const ImportRecord* record = after.history.imports.find(source);
  return conduct.isRun || record == nullptr ||
         !after.library.contains(record->photosAssetIdentifier.value_or(""));
}

Verdict doubtImportsNothing(const World& world, const State& before, const Transition& transition) {
  const Conduct& conduct = transition.conduct;
  if (conduct.handed.empty()) {
    return std::nullopt;
  }
  for (const std::string& source : conduct.unchecked) {
    if (conduct.handed.contains(source) || holdsUpOthers(source, transition.after, conduct)) {
      return Violation{Rule::doubtImportsNothing, "imports while " + source + " is unchecked"};
    }
  }
  const Sources doubtful = interrupted(before, conduct);
  if (conduct.isRun && !doubtful.empty()) {
    return Violation{Rule::doubtImportsNothing, "imports while " + *doubtful.begin() + " is uncertain"};
  }
  for (const std::string& source : conduct.handed) {
    if (wasMarked(before, source) || isTwinOfOneOf(source, doubtful, world.setting())) {
      return Violation{Rule::doubtImportsNothing, "imports " + source + ", which is uncertain"};
    }
  }
  return std::nullopt;
}

Verdict cameraStaysAsItIs(const World& world, const Conduct& conduct) {
  return conduct.cameraAfter == world.camera()
             ? std::nullopt
             : Verdict({Rule::cameraStaysAsItIs, "the camera's files have changed"});
}

}  // namespace

std::optional<Violation> violationIn(const World& world, const State& before, const Transition& transition) {
  for (const Verdict& verdict :
       {cameraStaysAsItIs(world, transition.conduct), doubtImportsNothing(world, before, transition),
        marks(before, transition), onceInTheLibrary(world, transition.after), recordOrMark(transition.after),
        metadataRemovesNothing(transition.after)}) {
    if (verdict) {
      return verdict;
    }
  }
  return std::nullopt;
}

}  // namespace tolvander::tests
