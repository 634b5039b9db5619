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

// A card of three files, of which two have the same picture: enough for most mistakes.
Setting smallWorld(Fault fault) { return {.cards = {{"a/1", "b/1", "a/2"}}, .fault = std::move(fault)}; }

Setting inSteps(std::function<void(World&, Steps&)> change) {
  return smallWorld({.steps = std::move(change)});
}

Setting inDependencies(std::function<void(World&, Dependencies&)> change) {
  return smallWorld({.dependencies = std::move(change)});
}

// Changes what a search has found.
Setting inSearch(const std::function<void(World&, const Files&, LibraryReconciliation&)>& change) {
  return inDependencies([change](World& world, Dependencies& dependencies) {
    dependencies.reconcile = [&world, change, search = dependencies.reconcile](const Files& files,
                                                                               bool broader) {
      LibraryReconciliation found = search(files, broader);
      change(world, files, found);
      return found;
    };
  });
}

// Takes another way after a run that met an interrupted import.
Setting afterInterruption(const std::function<void(World&)>& goOn) {
  return smallWorld({.run = [goOn](World& world, const std::function<void()>& run) {
    try {
      return run();
    } catch (const SyncHistoryError&) {
    }
    goOn(world);
  }});
}

Files markedOrNot(World& world, const Files& files, bool marked) {
  const std::set<std::string> marks = world.history().pendingImportSources();
  Files chosen;
  std::ranges::copy_if(files, std::back_inserter(chosen), [&](const FingerprintedMediaFile& file) {
    return marks.contains(file.sourceFingerprint) == marked;
  });
  return chosen;
}

Setting withItemOfTheUser(Setting setting, const Bytes& bytes) {
  setting.itemsOfTheUser = {bytes};
  return setting;
}

// The same picture on two cards, and on one of them twice.
Setting withTwoCards(Setting setting) {
  setting.cards = {{"a/1"}, {"a/2", "a/1"}};
  return setting;
}

// As the program wrote it before there were payload fingerprints, for an item that is gone.
Setting withOldRecord(Setting setting, const Bytes& bytes) {
  setting.records = {recordOf(mediaFile(bytes), "an item of long ago")};
  return setting;
}

// The mistakes

void skipBegin(World&, Steps& steps) {
  steps.begin = [](const Batch&) {};
}

void markOnlyTheFirst(World&, Steps& steps) {
  steps.begin = [begin = steps.begin](const Batch& batch) { begin({batch.front()}); };
}

void markAfterTheCommit(World&, Steps& steps) {
  steps.commit = [begin = steps.begin, commit = steps.commit](const Batch& batch) {
    AssetIdentifiers assets = commit(batch);
    begin(batch);
    return assets;
  };
  steps.begin = [](const Batch&) {};
}

void rollBackAfterAnUnknownOutcome(World&, Steps& steps) {
  steps.commit = [rollback = steps.rollback, commit = steps.commit](const Batch& batch) {
    try {
      return commit(batch);
    } catch (const World::UnknownOutcome&) {
    }
    rollback(batch);
    throw World::UnknownOutcome();
  };
}

void takeAnUnknownOutcomeForARefusal(World&, Steps& steps) {
  steps.commit = [commit = steps.commit](const Batch& batch) {
    try {
      return commit(batch);
    } catch (const World::UnknownOutcome&) {
      throw MediaImportCommitFailure::definiteFailure(std::current_exception());
    }
  };
}

void commitAgainAfterAnUnknownOutcome(World&, Steps& steps) {
  steps.commit = [commit = steps.commit](const Batch& batch) {
    try {
      return commit(batch);
    } catch (const World::UnknownOutcome&) {
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

void recordBeforeTheCommit(World&, Steps& steps) {
  steps.commit = [record = steps.record, commit = steps.commit](const Batch& batch) {
    record(batch, expectedAssets(batch));
    return commit(batch);
  };
  steps.record = [](const Batch&, const AssetIdentifiers&) {};
}

void recordAPartAsTheWhole(World&, Steps& steps) {
  steps.record = [record = steps.record](const Batch& batch, const AssetIdentifiers&) {
    record(batch, expectedAssets(batch));
  };
}

void clearTheMarksOfWhatIsMissing(World&, Steps& steps) {
  steps.record = [record = steps.record, rollback = steps.rollback](const Batch& batch,
                                                                    const AssetIdentifiers& assets) {
    record(batch, assets);
    rollback(batch);
  };
}

void rollBackWhenTheRecordsCannotBeSaved(World&, Steps& steps) {
  steps.record = [record = steps.record, rollback = steps.rollback](const Batch& batch,
                                                                    const AssetIdentifiers& assets) {
    try {
      return record(batch, assets);
    } catch (const PosixError&) {
    }
    rollback(batch);
  };
}

void moveTheFilesOffTheCard(World&, Steps& steps) {
  steps.record = [record = steps.record](const Batch& batch, const AssetIdentifiers& assets) {
    record(batch, assets);
    for (const PreparedMediaFile& file : batch) {
      std::filesystem::remove(file.sourceFile.url.path());
    }
  };
}

void repairTheFilesOnTheCard(World&, Dependencies& dependencies) {
  dependencies.importFiles = [import = dependencies.importFiles](const Files& files, bool isCharmera) {
    for (const FingerprintedMediaFile& file : files) {
      writeFile(file.file.url, processedFingerprintOf(file.sourceFingerprint));
    }
    return import(files, isCharmera);
  };
}

void importTheWholeCard(World& world, Dependencies& dependencies) {
  dependencies.importFiles = [&world, import = dependencies.importFiles](const Files&, bool isCharmera) {
    return import(world.conduct().scanned, isCharmera);
  };
}

void clearTheMarkOnAMetadataMatch(World& world, const Files&, LibraryReconciliation& found) {
  for (const auto& [source, asset] : found.metadataMatches) {
    if (world.history().pendingImportSources().contains(source)) {
      world.history().abandonFailedImport({source});
    }
  }
}

void takeMetadataForContent(World&, const Files&, LibraryReconciliation& found) {
  for (const auto& [source, asset] : std::exchange(found.metadataMatches, {})) {
    found.matches[source] = {
        .assetIdentifier = asset, .resourceFingerprint = source, .mediaPayloadFingerprint = {}};
  }
}

void ignoreUnchecked(World&, const Files&, LibraryReconciliation& found) { found.unchecked.clear(); }

void ignoreUncheckedAtTheLimit(World&, const Files&, LibraryReconciliation& found) {
  if (found.budgetExceeded) {
    found.unchecked.clear();
  }
}

void clearTheMarkOfWhatIsNotFound(World& world, const Files& files, LibraryReconciliation& found) {
  for (const FingerprintedMediaFile& file : markedOrNot(world, files, true)) {
    const std::string& source = file.sourceFingerprint;
    if (!found.matches.contains(source) && !found.metadataMatches.contains(source) &&
        !found.unchecked.contains(source)) {
      world.history().abandonFailedImport({source});
    }
  }
}

void importDespiteAMark(World& world) { world.import(markedOrNot(world, world.conduct().scanned, true)); }

void importTheOthersDespiteAMark(World& world) {
  const ImportRecords records = world.history().records();
  Files others = markedOrNot(world, world.conduct().scanned, false);
  std::erase_if(others,
                [&](const FingerprintedMediaFile& file) { return records.contains(file.sourceFingerprint); });
  world.import(others);
}

// Looks for marks only among the files that aren't repetitions of others.
void overlookTheMarkOfARepetition(World& world) {
  const Files unique = MediaIdentityMatcher::uniqueUnrecorded(world.conduct().scanned, {}, {});
  if (!markedOrNot(world, unique, true).empty()) {
    throw SyncHistoryError(SyncHistoryError::Case::unresolvedImport);
  }
  importTheOthersDespiteAMark(world);
}

// The mark of a file with an old record goes when the record is brought up to date.
void takeABetterRecordForAProof(World& world) {
  if (!world.history().pendingImportSources().empty()) {
    throw SyncHistoryError(SyncHistoryError::Case::unresolvedImport);
  }
}

void importWhatHasABetterRecord(World& world) {
  takeABetterRecordForAProof(world);
  world.import({world.conduct().scanned.front()});
}

// Loss

void recordWithoutImporting(World& world, Dependencies& dependencies) {
  dependencies.importFiles = [&world](const Files& files, bool) {
    std::vector<ImportRecord> records;
    std::ranges::transform(files, std::back_inserter(records), [](const FingerprintedMediaFile& file) {
      return recordOf(file, "an item that was never made");
    });
    world.history().record(records);
    return files;
  };
}

void dropTheLastFile(World&, Dependencies& dependencies) {
  dependencies.importFiles = [import = dependencies.importFiles](const Files& files, bool isCharmera) {
    import({files.begin(), files.end() - 1}, isCharmera);
    return files;
  };
}

void importNothing(World&, Dependencies& dependencies) {
  dependencies.importFiles = [](const Files& files, bool) { return files; };
}

void recordEverythingAsFound(World&, const Files& files, LibraryReconciliation& found) {
  found = {};
  for (const FingerprintedMediaFile& file : files) {
    found.matches[file.sourceFingerprint] = {.assetIdentifier = "an item that isn't there",
                                             .resourceFingerprint = file.sourceFingerprint,
                                             .mediaPayloadFingerprint = file.mediaPayloadFingerprint};
  }
}

void overlookTheItemsOfTheUser(World& world, const Files& files, LibraryReconciliation& found) {
  for (const FingerprintedMediaFile& file : files) {
    const std::string& source = file.sourceFingerprint;
    if (world.setting().itemsOfTheUser.contains(source)) {
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
