#include "Tests/ModelChecking/Invariants.h"

#include <algorithm>

namespace tolvander::tests {

namespace {

using Verdict = std::optional<Violation>;
using Sources = std::set<std::string>;

bool wasMarked(const State& before, const std::string& source) {
  return before.history.pendingImports.contains(source);
}

// Whether pictures are recognised even with another header: if the search overlooks nothing and every card is
// known as a Charmera's.
bool picturesAreKnown(const Configuration& configuration) {
  return configuration.search == Search::overlooksNothing &&
         std::ranges::find(configuration.isCharmera, false) == configuration.isCharmera.end();
}

// The content of all items of a library.
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

Verdict onceInTheLibrary(const SyncModel& model, const State& before, const Transition& transition) {
  if (model.configuration().search == Search::overlooksNothing && !transition.trace.handed.empty()) {
    const Holdings holdings(before);
    for (const FingerprintedMediaFile& file : transition.trace.scanned) {
      if (transition.trace.handed.contains(file.sourceFingerprint) && holdings.include(file)) {
        return Violation{Rule::onceInTheLibrary,
                         file.sourceFingerprint + " is imported, and was in the library"};
      }
    }
  }
  const State& after = transition.after;
  Sources seen;
  for (const auto& [asset, item] : after.library) {
    const std::string identity =
        picturesAreKnown(model.configuration()) ? pictureOf(item.source) : item.source;
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

// Whether the command updated the payload fingerprint of an old record. Saving the updated record removes a
// mark, but proves nothing about the interrupted import.
bool isBroughtUpToDate(const std::string& source, const State& before, const Trace& trace) {
  const ImportRecord* record = before.history.imports.find(source);
  return trace.isRun && record != nullptr && record->isContentConfirmed() &&
         std::ranges::any_of(trace.scanned, [&](const FingerprintedMediaFile& file) {
           return file.sourceFingerprint == source && file.mediaPayloadFingerprint &&
                  record->mediaPayloadFingerprint != file.mediaPayloadFingerprint;
         });
}

// The run that updates the record of an interrupted import must neither succeed nor import the file.
bool endsInDoubt(const std::string& source, const Trace& trace) {
  return trace.outcome != Outcome::completed && !trace.handed.contains(source);
}

bool mayBeCleared(const std::string& source, const State& before, const Trace& trace) {
  const bool isOfThisImport = trace.marked.contains(source) && !wasMarked(before, source);
  return trace.foundByContent.contains(source) ||
         (isOfThisImport && (trace.answered.contains(source) || trace.refused.contains(source))) ||
         (isBroughtUpToDate(source, before, trace) && endsInDoubt(source, trace));
}

Verdict marks(const State& before, const Transition& transition) {
  const Trace& trace = transition.trace;
  Sources marked = before.history.pendingImports;
  marked.insert(trace.marked.begin(), trace.marked.end());
  for (const std::string& source : marked) {
    if (!transition.after.history.pendingImports.contains(source) && !mayBeCleared(source, before, trace)) {
      const bool isByMetadata =
          trace.foundByMetadata.contains(source) && !isBroughtUpToDate(source, before, trace);
      return Violation{isByMetadata ? Rule::metadataClearsNoMark : Rule::marksNeedProof,
                       "the mark of " + source + " is cleared"};
    }
  }
  return std::nullopt;
}

// A cleanup removes files with a record confirmed by content whose asset exists.
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
Sources interrupted(const State& before, const Trace& trace) {
  Sources sources;
  for (const FingerprintedMediaFile& file : trace.scanned) {
    if (wasMarked(before, file.sourceFingerprint) && !trace.foundByContent.contains(file.sourceFingerprint)) {
      sources.insert(file.sourceFingerprint);
    }
  }
  return sources;
}

bool isTwinOfOneOf(const std::string& source, const Sources& others, const Configuration& configuration) {
  return std::ranges::any_of(others, [&](const std::string& other) {
    return source == other || (picturesAreKnown(configuration) && pictureOf(source) == pictureOf(other));
  });
}

// Whether an unchecked file prevents the import of others. In a restore it doesn't if it has a record, even
// on metadata only, whose asset exists: the file is then not imported because of its record.
bool holdsUpOthers(const std::string& source, const State& after, const Trace& trace) {
  const ImportRecord* record = after.history.imports.find(source);
  return trace.isRun || record == nullptr ||
         !after.library.contains(record->photosAssetIdentifier.value_or(""));
}

Verdict doubtImportsNothing(const SyncModel& model, const State& before, const Transition& transition) {
  const Trace& trace = transition.trace;
  if (trace.handed.empty()) {
    return std::nullopt;
  }
  for (const std::string& source : trace.unchecked) {
    if (trace.handed.contains(source) || holdsUpOthers(source, transition.after, trace)) {
      return Violation{Rule::doubtImportsNothing, "imports while " + source + " is unchecked"};
    }
  }
  const Sources doubtful = interrupted(before, trace);
  if (trace.isRun && !doubtful.empty()) {
    return Violation{Rule::doubtImportsNothing, "imports while " + *doubtful.begin() + " is uncertain"};
  }
  for (const std::string& source : trace.handed) {
    if (wasMarked(before, source) || isTwinOfOneOf(source, doubtful, model.configuration())) {
      return Violation{Rule::doubtImportsNothing, "imports " + source + ", which is uncertain"};
    }
  }
  return std::nullopt;
}

Verdict cameraStaysAsItIs(const SyncModel& model, const Trace& trace) {
  return trace.cameraAfter == model.camera()
             ? std::nullopt
             : Verdict({Rule::cameraStaysAsItIs, "the camera's files have changed"});
}

bool hasLostAnItem(const State& before, const State& after) {
  return std::ranges::any_of(before.library,
                             [&](const auto& entry) { return !after.library.contains(entry.first); });
}

// Checks the records that the command has made.
Verdict recordsTellTheTruth(const State& before, const State& after) {
  if (hasLostAnItem(before, after)) {
    return std::nullopt;  // the command was the user's deletion of that item
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

// Whether the condition holds for the source of the file or of another file of the card with the same
// picture.
template <typename Condition>
bool holdsForItsPicture(const FingerprintedMediaFile& file, const Trace& trace, const Condition& holds) {
  return std::ranges::any_of(trace.scanned, [&](const FingerprintedMediaFile& other) {
    const bool isTheSame =
        other.sourceFingerprint == file.sourceFingerprint ||
        (file.mediaPayloadFingerprint && other.mediaPayloadFingerprint == file.mediaPayloadFingerprint);
    return isTheSame && holds(other.sourceFingerprint);
  });
}

// A record of an earlier version has no payload fingerprint. The run adds it, and from then on the record
// counts for every file with the same picture.
bool wasRecorded(const FingerprintedMediaFile& file, const State& before, const Trace& trace) {
  const auto hasRecord = [&](const std::string& source) { return before.history.imports.contains(source); };
  return holdsForItsPicture(file, trace, hasRecord) ||
         std::ranges::any_of(before.history.imports, [&](const ImportRecord& record) {
           return file.mediaPayloadFingerprint &&
                  record.mediaPayloadFingerprint == file.mediaPayloadFingerprint;
         });
}

// Whether the file has a record confirmed by content, whose truth another rule checks, and its item exists.
// The item can be that of another file with the same picture.
bool hasItemByRecord(const FingerprintedMediaFile& file, const State& after) {
  const ImportRecord* record = after.history.imports.find(file.sourceFingerprint);
  return record != nullptr && record->isContentConfirmed() &&
         after.library.contains(record->photosAssetIdentifier.value_or(""));
}

// Whether the picture was reported to the user as skipped.
bool isNamed(const FingerprintedMediaFile& file, const Trace& trace) {
  return holdsForItsPicture(file, trace,
                            [&](const std::string& source) { return trace.skipped.contains(source); });
}

// Checked after successful commands only, since a failed one is reported to the user. A file with a record
// has been in the library; if the user has deleted it there, only a restore imports it again.
Verdict nothingIsLost(const State& before, const Transition& transition) {
  const Trace& trace = transition.trace;
  const bool imports = trace.isRun || trace.isRestoration;
  if (!imports || trace.outcome != Outcome::completed || trace.wasCutShort) {
    return std::nullopt;
  }
  const Holdings holdings(transition.after);
  for (const FingerprintedMediaFile& file : trace.scanned) {
    const bool isAccountedFor = holdings.include(file) || hasItemByRecord(file, transition.after) ||
                                isNamed(file, trace) || (trace.isRun && wasRecorded(file, before, trace));
    if (!isAccountedFor) {
      return Violation{Rule::nothingIsLost,
                       file.sourceFingerprint + " is nowhere, and nothing is said of it"};
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<Violation> violationIn(const SyncModel& model, const State& before,
                                     const Transition& transition) {
  for (const Verdict& verdict :
       {cameraStaysAsItIs(model, transition.trace), doubtImportsNothing(model, before, transition),
        marks(before, transition), onceInTheLibrary(model, before, transition),
        recordOrMark(transition.after), metadataRemovesNothing(transition.after),
        recordsTellTheTruth(before, transition.after), nothingIsLost(before, transition)}) {
    if (verdict) {
      return verdict;
    }
  }
  return std::nullopt;
}

}  // namespace tolvander::tests
