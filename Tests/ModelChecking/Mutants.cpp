#include "Tests/ModelChecking/Mutants.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

#include "Tests/Support/Fixtures/CoordinatorWorld.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaImportCommitFailure.h"
#include "TolvanderCore/Sync/MediaIdentityMatcher.h"

namespace tolvander::tests {

namespace {

using AssetIdentifiers = MediaImportTransaction::AssetIdentifiers;
using Batch = MediaImportTransaction::Batch;
using Dependencies = SyncCoordinator::Dependencies;
using Files = std::vector<FingerprintedMediaFile>;
using Steps = MediaImportTransaction::Steps;

// A card of three files, two of which have the same picture; enough for most bugs.
Configuration smallModel(Fault fault) {
  return {.cards = {{"a/1", "b/1", "a/2"}}, .fault = std::move(fault)};
}

Configuration inSteps(std::function<void(SyncModel&, Steps&)> change) {
  return smallModel({.steps = std::move(change)});
}

Configuration inDependencies(std::function<void(SyncModel&, Dependencies&)> change) {
  return smallModel({.dependencies = std::move(change)});
}

// Changes what a search has found.
Configuration inSearch(const std::function<void(SyncModel&, const Files&, LibraryReconciliation&)>& change) {
  return inDependencies([change](SyncModel& model, Dependencies& dependencies) {
    dependencies.reconcile = [&model, change, search = dependencies.reconcile](const Files& files,
                                                                               bool broader) {
      LibraryReconciliation found = search(files, broader);
      change(model, files, found);
      return found;
    };
  });
}

// Continues in another way after a run that found an interrupted import.
Configuration afterInterruption(const std::function<void(SyncModel&)>& goOn) {
  return smallModel({.run = [goOn](SyncModel& model, const std::function<void()>& run) {
    try {
      return run();
    } catch (const SyncHistoryError&) {
    }
    goOn(model);
  }});
}

Files markedOrNot(SyncModel& model, const Files& files, bool marked) {
  const std::set<std::string> marks = model.history().pendingImportSources();
  Files chosen;
  std::ranges::copy_if(files, std::back_inserter(chosen), [&](const FingerprintedMediaFile& file) {
    return marks.contains(file.sourceFingerprint) == marked;
  });
  return chosen;
}

Configuration withItemOfTheUser(Configuration configuration, const Bytes& bytes) {
  configuration.itemsOfTheUser = {bytes};
  return configuration;
}

// The same picture on two cards, and on one of them twice.
Configuration withTwoCards(Configuration configuration) {
  configuration.cards = {{"a/1"}, {"a/2", "a/1"}};
  return configuration;
}

// A record from before payload fingerprints existed, for an item that no longer exists.
Configuration withOldRecord(Configuration configuration, const Bytes& bytes) {
  configuration.records = {recordOf(mediaFile(bytes), "an item of long ago")};
  return configuration;
}

// The bugs

void skipBegin(SyncModel&, Steps& steps) {
  steps.begin = [](const Batch&) {};
}

void markOnlyTheFirst(SyncModel&, Steps& steps) {
  steps.begin = [begin = steps.begin](const Batch& batch) { begin({batch.front()}); };
}

void markAfterTheCommit(SyncModel&, Steps& steps) {
  steps.commit = [begin = steps.begin, commit = steps.commit](const Batch& batch) {
    AssetIdentifiers assets = commit(batch);
    begin(batch);
    return assets;
  };
  steps.begin = [](const Batch&) {};
}

void rollBackAfterAnUnknownOutcome(SyncModel&, Steps& steps) {
  steps.commit = [rollback = steps.rollback, commit = steps.commit](const Batch& batch) {
    try {
      return commit(batch);
    } catch (const SyncModel::UnknownOutcome&) {
    }
    rollback(batch);
    throw SyncModel::UnknownOutcome();
  };
}

void takeAnUnknownOutcomeForARefusal(SyncModel&, Steps& steps) {
  steps.commit = [commit = steps.commit](const Batch& batch) {
    try {
      return commit(batch);
    } catch (const SyncModel::UnknownOutcome&) {
      throw MediaImportCommitFailure::definiteFailure(std::current_exception());
    }
  };
}

void commitAgainAfterAnUnknownOutcome(SyncModel&, Steps& steps) {
  steps.commit = [commit = steps.commit](const Batch& batch) {
    try {
      return commit(batch);
    } catch (const SyncModel::UnknownOutcome&) {
    }
    return commit(batch);
  };
}

AssetIdentifiers expectedAssets(const Batch& batch) {
  AssetIdentifiers assets;
  for (const PreparedMediaFile& file : batch) {
    assets[file.sourceFingerprint] = file.sourceFingerprint;
  }
  return assets;
}

void recordBeforeTheCommit(SyncModel&, Steps& steps) {
  steps.commit = [record = steps.record, commit = steps.commit](const Batch& batch) {
    record(batch, expectedAssets(batch));
    return commit(batch);
  };
  steps.record = [](const Batch&, const AssetIdentifiers&) {};
}

void recordAPartAsTheWhole(SyncModel&, Steps& steps) {
  steps.record = [record = steps.record](const Batch& batch, const AssetIdentifiers&) {
    record(batch, expectedAssets(batch));
  };
}

void clearTheMarksOfWhatIsMissing(SyncModel&, Steps& steps) {
  steps.record = [record = steps.record, rollback = steps.rollback](const Batch& batch,
                                                                    const AssetIdentifiers& assets) {
    record(batch, assets);
    rollback(batch);
  };
}

void rollBackWhenTheRecordsCannotBeSaved(SyncModel&, Steps& steps) {
  steps.record = [record = steps.record, rollback = steps.rollback](const Batch& batch,
                                                                    const AssetIdentifiers& assets) {
    try {
      return record(batch, assets);
    } catch (const PosixError&) {
    }
    rollback(batch);
  };
}

void moveTheFilesOffTheCard(SyncModel&, Steps& steps) {
  steps.record = [record = steps.record](const Batch& batch, const AssetIdentifiers& assets) {
    record(batch, assets);
    for (const PreparedMediaFile& file : batch) {
      std::filesystem::remove(file.sourceFile.url.path());
    }
  };
}

void repairTheFilesOnTheCard(SyncModel&, Dependencies& dependencies) {
  dependencies.importFiles = [import = dependencies.importFiles](const Files& files, bool isCharmera) {
    for (const FingerprintedMediaFile& file : files) {
      writeFile(file.file.url, processedFingerprintOf(file.sourceFingerprint));
    }
    return import(files, isCharmera);
  };
}

void importTheWholeCard(SyncModel& model, Dependencies& dependencies) {
  dependencies.importFiles = [&model, import = dependencies.importFiles](const Files&, bool isCharmera) {
    return import(model.trace().scanned, isCharmera);
  };
}

void clearTheMarkOnAMetadataMatch(SyncModel& model, const Files&, LibraryReconciliation& found) {
  for (const auto& [source, asset] : found.metadataMatches) {
    if (model.history().pendingImportSources().contains(source)) {
      model.history().abandonFailedImport({source});
    }
  }
}

void takeMetadataForContent(SyncModel&, const Files&, LibraryReconciliation& found) {
  for (const auto& [source, asset] : std::exchange(found.metadataMatches, {})) {
    found.matches[source] = {
        .assetIdentifier = asset, .resourceFingerprint = source, .mediaPayloadFingerprint = {}};
  }
}

void ignoreUnchecked(SyncModel&, const Files&, LibraryReconciliation& found) { found.unchecked.clear(); }

void ignoreUncheckedAtTheLimit(SyncModel&, const Files&, LibraryReconciliation& found) {
  if (found.budgetExceeded) {
    found.unchecked.clear();
  }
}

void clearTheMarkOfWhatIsNotFound(SyncModel& model, const Files& files, LibraryReconciliation& found) {
  for (const FingerprintedMediaFile& file : markedOrNot(model, files, true)) {
    const std::string& source = file.sourceFingerprint;
    if (!found.matches.contains(source) && !found.metadataMatches.contains(source) &&
        !found.unchecked.contains(source)) {
      model.history().abandonFailedImport({source});
    }
  }
}

void importDespiteAMark(SyncModel& model) { model.import(markedOrNot(model, model.trace().scanned, true)); }

void importTheOthersDespiteAMark(SyncModel& model) {
  const ImportRecords records = model.history().records();
  Files others = markedOrNot(model, model.trace().scanned, false);
  std::erase_if(others,
                [&](const FingerprintedMediaFile& file) { return records.contains(file.sourceFingerprint); });
  model.import(others);
}

// Checks the marks only of files that don't repeat others.
void overlookTheMarkOfARepetition(SyncModel& model) {
  const Files unique = MediaIdentityMatcher::uniqueUnrecorded(model.trace().scanned, {}, {});
  if (!markedOrNot(model, unique, true).empty()) {
    throw SyncHistoryError(SyncHistoryError::Case::unresolvedImport);
  }
  importTheOthersDespiteAMark(model);
}

// The mark of a file with an old record is removed when the record is updated.
void takeABetterRecordForAProof(SyncModel& model) {
  if (!model.history().pendingImportSources().empty()) {
    throw SyncHistoryError(SyncHistoryError::Case::unresolvedImport);
  }
}

void importWhatHasABetterRecord(SyncModel& model) {
  takeABetterRecordForAProof(model);
  model.import({model.trace().scanned.front()});
}

// Loss

void recordWithoutImporting(SyncModel& model, Dependencies& dependencies) {
  dependencies.importFiles = [&model](const Files& files, bool) {
    std::vector<ImportRecord> records;
    std::ranges::transform(files, std::back_inserter(records), [](const FingerprintedMediaFile& file) {
      return recordOf(file, "an item that was never made");
    });
    model.history().record(records);
    return files;
  };
}

void dropTheLastFile(SyncModel&, Dependencies& dependencies) {
  dependencies.importFiles = [import = dependencies.importFiles](const Files& files, bool isCharmera) {
    import({files.begin(), files.end() - 1}, isCharmera);
    return files;
  };
}

void importNothing(SyncModel&, Dependencies& dependencies) {
  dependencies.importFiles = [](const Files& files, bool) { return files; };
}

void recordEverythingAsFound(SyncModel&, const Files& files, LibraryReconciliation& found) {
  found = {};
  for (const FingerprintedMediaFile& file : files) {
    found.matches[file.sourceFingerprint] = {.assetIdentifier = "an item that isn't there",
                                             .resourceFingerprint = file.sourceFingerprint,
                                             .mediaPayloadFingerprint = file.mediaPayloadFingerprint};
  }
}

void overlookTheItemsOfTheUser(SyncModel& model, const Files& files, LibraryReconciliation& found) {
  for (const FingerprintedMediaFile& file : files) {
    const std::string& source = file.sourceFingerprint;
    if (model.configuration().itemsOfTheUser.contains(source)) {
      found.matches.erase(source);
      found.metadataMatches.erase(source);
      found.unchecked.erase(source);
    }
  }
}

}  // namespace

std::vector<Mutant> mutants() {
  return {
      {"skipBegin", Rule::recordOrMark, inSteps(skipBegin)},
      {"markOnlyTheFirst", Rule::recordOrMark, inSteps(markOnlyTheFirst)},
      {"markAfterTheCommit", Rule::recordOrMark, inSteps(markAfterTheCommit)},
      {"rollBackAfterAnUnknownOutcome", Rule::marksNeedProof, inSteps(rollBackAfterAnUnknownOutcome)},
      {"takeAnUnknownOutcomeForARefusal", Rule::marksNeedProof, inSteps(takeAnUnknownOutcomeForARefusal)},
      {"commitAgainAfterAnUnknownOutcome", Rule::onceInTheLibrary, inSteps(commitAgainAfterAnUnknownOutcome)},
      {"recordBeforeTheCommit", Rule::marksNeedProof, inSteps(recordBeforeTheCommit)},
      {"recordAPartAsTheWhole", Rule::marksNeedProof, inSteps(recordAPartAsTheWhole)},
      {"clearTheMarksOfWhatIsMissing", Rule::marksNeedProof, inSteps(clearTheMarksOfWhatIsMissing)},
      {"rollBackWhenTheRecordsCannotBeSaved", Rule::recordOrMark,
       inSteps(rollBackWhenTheRecordsCannotBeSaved)},
      {"moveTheFilesOffTheCard", Rule::cameraStaysAsItIs, inSteps(moveTheFilesOffTheCard)},
      {"repairTheFilesOnTheCard", Rule::cameraStaysAsItIs, inDependencies(repairTheFilesOnTheCard)},
      {"importTheWholeCard", Rule::onceInTheLibrary, inDependencies(importTheWholeCard)},
      {"clearTheMarkOnAMetadataMatch", Rule::metadataClearsNoMark, inSearch(clearTheMarkOnAMetadataMatch)},
      {"takeMetadataForContent", Rule::metadataRemovesNothing,
       withItemOfTheUser(inSearch(takeMetadataForContent), "x/1")},
      {"ignoreUnchecked", Rule::doubtImportsNothing, inSearch(ignoreUnchecked)},
      {"ignoreUncheckedAtTheLimit", Rule::doubtImportsNothing, inSearch(ignoreUncheckedAtTheLimit)},
      {"clearTheMarkOfWhatIsNotFound", Rule::marksNeedProof, inSearch(clearTheMarkOfWhatIsNotFound)},
      {"importDespiteAMark", Rule::doubtImportsNothing, afterInterruption(importDespiteAMark)},
      {"importTheOthersDespiteAMark", Rule::doubtImportsNothing,
       afterInterruption(importTheOthersDespiteAMark)},
      {"overlookTheMarkOfARepetition", Rule::doubtImportsNothing,
       withTwoCards(afterInterruption(overlookTheMarkOfARepetition))},
      {"takeABetterRecordForAProof", Rule::marksNeedProof,
       withOldRecord(afterInterruption(takeABetterRecordForAProof), "a/1")},
      {"importWhatHasABetterRecord", Rule::doubtImportsNothing,
       withOldRecord(afterInterruption(importWhatHasABetterRecord), "a/1")},
      {"recordWithoutImporting", Rule::recordsTellTheTruth, inDependencies(recordWithoutImporting)},
      {"recordEverythingAsFound", Rule::recordsTellTheTruth, inSearch(recordEverythingAsFound)},
      {"dropTheLastFile", Rule::nothingIsLost, inDependencies(dropTheLastFile)},
      {"importNothing", Rule::nothingIsLost, inDependencies(importNothing)},
      {"importWhatTheUsersItemHolds", Rule::onceInTheLibrary,
       withItemOfTheUser(inSearch(overlookTheItemsOfTheUser), "a/1")},
  };
}

}  // namespace tolvander::tests
