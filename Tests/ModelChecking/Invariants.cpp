#include "Tests/ModelChecking/Invariants.h"

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
  return setting.search == Search::overlooksNothing &&
         std::ranges::find(setting.isCharmera, false) == setting.isCharmera.end();
}

// What the items of a library hold.
class Holdings {
 public:
  explicit Holdings(const State& state) {
    for (const auto& [asset, item] : state.library) {
      sources_.insert(item.source);
      payloads_.insert(payloadOf(item.source));
    }
  }

  bool include(const FingerprintedMediaFile& file) const {
    return sources_.contains(file.sourceFingerprint) ||
           (file.mediaPayloadFingerprint && payloads_.contains(file.mediaPayloadFingerprint));
  }

 private:
  Sources sources_;
  std::set<std::optional<std::string>> payloads_;
};

Verdict onceInTheLibrary(const World& world, const State& before, const Transition& transition) {
  if (world.setting().search == Search::overlooksNothing && !transition.conduct.handed.empty()) {
    const Holdings holdings(before);
    for (const FingerprintedMediaFile& file : transition.conduct.scanned) {
      if (transition.conduct.handed.contains(file.sourceFingerprint) && holdings.include(file)) {
        return Violation{Rule::onceInTheLibrary,
                         file.sourceFingerprint + " is imported, and was in the library"};
      }
    }
  }
  const State& after = transition.after;
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

// Whether an old record got the payload fingerprint of today. That makes it a new record on content, which
// clears a mark, but proves nothing about the interrupted import.
bool isBroughtUpToDate(const std::string& source, const State& before, const Conduct& conduct) {
  const ImportRecord* record = before.history.imports.find(source);
  return conduct.isRun && record != nullptr && record->isContentConfirmed() &&
         std::ranges::any_of(conduct.scanned, [&](const FingerprintedMediaFile& file) {
           return file.sourceFingerprint == source && file.mediaPayloadFingerprint &&
                  record->mediaPayloadFingerprint != file.mediaPayloadFingerprint;
         });
}

// The run that brings the record of an interrupted import up to date may neither end well nor import the
// file.
bool endsInDoubt(const std::string& source, const Conduct& conduct) {
  return conduct.ending != Ending::completed && !conduct.handed.contains(source);
}

bool mayBeCleared(const std::string& source, const State& before, const Conduct& conduct) {
  const bool isOfThisImport = conduct.marked.contains(source) && !wasMarked(before, source);
  return conduct.foundByContent.contains(source) ||
         (isOfThisImport && (conduct.answered.contains(source) || conduct.refused.contains(source))) ||
         (isBroughtUpToDate(source, before, conduct) && endsInDoubt(source, conduct));
}

Verdict marks(const State& before, const Transition& transition) {
  const Conduct& conduct = transition.conduct;
  Sources marked = before.history.pendingImports;
  marked.insert(conduct.marked.begin(), conduct.marked.end());
  for (const std::string& source : marked) {
    if (!transition.after.history.pendingImports.contains(source) && !mayBeCleared(source, before, conduct)) {
      const bool isByMetadata =
          conduct.foundByMetadata.contains(source) && !isBroughtUpToDate(source, before, conduct);
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

bool hasLostAnItem(const State& before, const State& after) {
  return std::ranges::any_of(before.library,
                             [&](const auto& entry) { return !after.library.contains(entry.first); });
}

// Of the records that a command has made.
Verdict recordsTellTheTruth(const State& before, const State& after) {
  if (hasLostAnItem(before, after)) {
    return std::nullopt;  // the user has deleted it, and the command was nothing but that
  }
  for (const ImportRecord& record : after.history.imports) {
    const ImportRecord* known = before.history.imports.find(record.sourceFingerprint);
    const bool isNew = known == nullptr || known->photosAssetIdentifier != record.photosAssetIdentifier ||
                       known->isContentConfirmed() != record.isContentConfirmed();
    if (!isNew) {
      continue;
    }
    const auto item = after.library.find(record.photosAssetIdentifier.value_or(""));
    if (item == after.library.end()) {
      return Violation{Rule::recordsTellTheTruth,
                       record.sourceFingerprint + " is recorded, and its item isn't there"};
    }
    if (record.isContentConfirmed() &&
        pictureOf(item->second.source) != pictureOf(record.sourceFingerprint)) {
      return Violation{Rule::recordsTellTheTruth,
                       record.sourceFingerprint + " is recorded, and its item holds something else"};
    }
  }
  return std::nullopt;
}

// Whether the condition holds for the source of the file or of another one of the card with its picture.
template <typename Condition>
bool holdsForItsPicture(const FingerprintedMediaFile& file, const Conduct& conduct, const Condition& holds) {
  return std::ranges::any_of(conduct.scanned, [&](const FingerprintedMediaFile& other) {
    const bool isTheSame =
        other.sourceFingerprint == file.sourceFingerprint ||
        (file.mediaPayloadFingerprint && other.mediaPayloadFingerprint == file.mediaPayloadFingerprint);
    return isTheSame && holds(other.sourceFingerprint);
  });
}

// A record of an earlier version has no payload fingerprint. The run adds it, and from then on the record
// counts for every file with the same picture.
bool wasRecorded(const FingerprintedMediaFile& file, const State& before, const Conduct& conduct) {
  const auto hasRecord = [&](const std::string& source) { return before.history.imports.contains(source); };
  return holdsForItsPicture(file, conduct, hasRecord) ||
         std::ranges::any_of(before.history.imports, [&](const ImportRecord& record) {
           return file.mediaPayloadFingerprint &&
                  record.mediaPayloadFingerprint == file.mediaPayloadFingerprint;
         });
}

// Whether a record on content, which another rule proves true, names an item that is there: it can be that of
// another file with the same picture, also where this command doesn't know that.
bool hasItemByRecord(const FingerprintedMediaFile& file, const State& after) {
  const ImportRecord* record = after.history.imports.find(file.sourceFingerprint);
  return record != nullptr && record->isContentConfirmed() &&
         after.library.contains(record->photosAssetIdentifier.value_or(""));
}

// Whether the user reads that the picture was left out.
bool isNamed(const FingerprintedMediaFile& file, const Conduct& conduct) {
  return holdsForItsPicture(file, conduct,
                            [&](const std::string& source) { return conduct.skipped.contains(source); });
}

// A command that doesn't end well says so, and its card goes on another time. What a run finds recorded has
// been in the library, and if the user has deleted it there, only a restoration brings it back.
Verdict nothingIsLost(const State& before, const Transition& transition) {
  const Conduct& conduct = transition.conduct;
  const bool imports = conduct.isRun || conduct.isRestoration;
  if (!imports || conduct.ending != Ending::completed || conduct.wasCutShort) {
    return std::nullopt;
  }
  const Holdings holdings(transition.after);
  for (const FingerprintedMediaFile& file : conduct.scanned) {
    const bool isAccountedFor = holdings.include(file) || hasItemByRecord(file, transition.after) ||
                                isNamed(file, conduct) ||
                                (conduct.isRun && wasRecorded(file, before, conduct));
    if (!isAccountedFor) {
      return Violation{Rule::nothingIsLost,
                       file.sourceFingerprint + " is nowhere, and nothing is said of it"};
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<Violation> violationIn(const World& world, const State& before, const Transition& transition) {
  for (const Verdict& verdict :
       {cameraStaysAsItIs(world, transition.conduct), doubtImportsNothing(world, before, transition),
        marks(before, transition), onceInTheLibrary(world, before, transition),
        recordOrMark(transition.after), metadataRemovesNothing(transition.after),
        recordsTellTheTruth(before, transition.after), nothingIsLost(before, transition)}) {
    if (verdict) {
      return verdict;
    }
  }
  return std::nullopt;
}

}  // namespace tolvander::tests
