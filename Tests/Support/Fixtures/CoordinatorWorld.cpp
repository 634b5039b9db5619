#include "Tests/Support/Fixtures/CoordinatorWorld.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "TolvanderCore/RecognitionError.h"

namespace tolvander::tests {

namespace {

std::string joined(std::string text, const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    text += " " + word;
  }
  return text;
}

std::string nameOf(const SyncPhase& phase) {
  constexpr std::array names = {"checkingAccess", "fingerprinting", "recognizing", "preparing",
                                "importing",      "album",          "finished"};
  return names.at(static_cast<std::size_t>(phase.kind));
}

bool isReadable(SyncHistoryStore& history) {
  try {
    history.ensureAvailable();
    return true;
  } catch (const SyncHistoryError&) {
    return false;
  }
}

}  // namespace

FingerprintedMediaFile mediaFile(const std::string& source, std::optional<std::string> payload) {
  const std::string name = source + ".JPG";
  return {.file = {.url = FileURL("/camera/DCIM/" + name),
                   .volumeURL = FileURL("/camera"),
                   .relativePath = "DCIM/" + name,
                   .filename = name,
                   .byteCount = 1'000 + static_cast<std::int64_t>(source.size()),
                   .modifiedAt = {}},
          .sourceFingerprint = source,
          .mediaPayloadFingerprint = std::move(payload),
          .captureDate = {},
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

ImportRecord recordOf(const FingerprintedMediaFile& file, std::optional<std::string> asset,
                      std::optional<ImportEvidence> evidence) {
  ImportRecord record;
  record.sourceFingerprint = file.sourceFingerprint;
  record.mediaPayloadFingerprint = file.mediaPayloadFingerprint;
  record.filename = file.file.filename;
  record.relativePath = file.file.relativePath;
  record.byteCount = file.file.byteCount;
  record.importedAt = Date(std::chrono::seconds(1'700'000'000));
  record.photosAssetIdentifier = std::move(asset);
  record.evidence = evidence;
  return ImportRecord::make(std::move(record));
}

PreparedMediaFile preparedFile(const FingerprintedMediaFile& file) {
  return {.sourceFile = file.file,
          .importURL = FileURL("/staged/" + file.file.filename),
          .sourceFingerprint = file.sourceFingerprint,
          .mediaPayloadFingerprint = file.mediaPayloadFingerprint,
          .processedFingerprint = file.sourceFingerprint + "-processed",
          .processingVersion = 1,
          .isStagedCopy = true,
          .captureDate = {}};
}

LibraryMatch matchOf(const std::string& source) {
  return {.assetIdentifier = "asset-" + source,
          .resourceFingerprint = source + "-resource",
          .mediaPayloadFingerprint = {}};
}

std::vector<std::string> sourcesOf(const std::vector<FingerprintedMediaFile>& files) {
  std::vector<std::string> sources;
  std::ranges::transform(files, std::back_inserter(sources), &FingerprintedMediaFile::sourceFingerprint);
  return sources;
}

CoordinatorWorld::CoordinatorWorld() = default;

SyncCoordinator CoordinatorWorld::coordinator() {
  SyncCoordinator::Dependencies dependencies;
  dependencies.checkAccess = [this] { add("access"); };
  dependencies.fingerprint = [this](const std::vector<CameraMediaFile>& files, bool isCharmera) {
    std::vector<std::string> paths;
    std::ranges::transform(files, std::back_inserter(paths), &CameraMediaFile::relativePath);
    add(joined("fingerprint", paths) + (isCharmera ? " charmera" : ""));
    return card;
  };
  dependencies.reconcile = [this](const std::vector<FingerprintedMediaFile>& files, bool broader) {
    add(joined("reconcile", sourcesOf(files)) + (broader ? " broader" : ""));
    searched.push_back(files);
    return searched.size() <= searches.size() ? searches[searched.size() - 1] : LibraryReconciliation();
  };
  dependencies.existingIdentifiers = [this](const std::vector<std::string>& identifiers) {
    add(joined("exist", identifiers));
    std::set<std::string> existing(identifiers.begin(), identifiers.end());
    std::erase_if(existing, [this](const std::string& identifier) { return !assets.contains(identifier); });
    return existing;
  };
  dependencies.importFiles = [this](const std::vector<FingerprintedMediaFile>& files, bool isCharmera) {
    add(joined("import", sourcesOf(files)) + (isCharmera ? " charmera" : ""));
    for (const FingerprintedMediaFile& file : files) {
      history->record(recordOf(file, "asset-" + file.sourceFingerprint));
    }
    return files;
  };
  dependencies.addToAlbum = [this](const std::vector<std::string>& identifiers, const std::string& name) {
    add(joined("album " + name + ":", identifiers));
  };
  if (held) {
    dependencies.completeInterruptedImports = [this] {
      add("complete");
      return *held;
    };
  }
  dependencies.phase = [this](const SyncPhase& phase) { add("phase " + nameOf(phase)); };
  return {history, dependencies, [this] { return now += std::chrono::seconds(1); }};
}

void CoordinatorWorld::given(const std::vector<ImportRecord>& records,
                             const std::vector<std::string>& pending) {
  history->record(records);
  history->beginImport(pending);
  forgetHistoryChanges();
}

void CoordinatorWorld::forgetHistoryChanges() {
  logHistoryChanges();
  log.clear();
}

std::vector<std::string> CoordinatorWorld::finishedLog() {
  logHistoryChanges();
  return log;
}

std::vector<std::string> CoordinatorWorld::entries(const std::string& prefix) {
  std::vector<std::string> chosen = finishedLog();
  std::erase_if(chosen, [&](const std::string& entry) { return !entry.starts_with(prefix); });
  return chosen;
}

ImportRecord CoordinatorWorld::record(const std::string& source) const {
  const ImportRecords records = history->records();
  const ImportRecord* record = records.find(source);
  return record == nullptr ? ImportRecord() : *record;
}

std::vector<CameraMediaFile> CoordinatorWorld::cameraFiles() const {
  std::vector<CameraMediaFile> files;
  std::ranges::transform(card, std::back_inserter(files), &FingerprintedMediaFile::file);
  return files;
}

SyncResult CoordinatorWorld::run(const std::optional<std::string>& album, bool isCharmera) {
  return coordinator().run(cameraFiles(), isCharmera, album, cancellation.token());
}

CameraLibraryReview CoordinatorWorld::review(bool broader, bool isCharmera) {
  return coordinator().review(cameraFiles(), isCharmera, broader, cancellation.token());
}

void CoordinatorWorld::remember(const CameraLibraryReview& review) {
  coordinator().rememberRecognizedImports(review, cancellation.token());
}

SyncResult CoordinatorWorld::restore(const CameraLibraryReview& review,
                                     const std::optional<std::string>& album, bool isCharmera) {
  return coordinator().restore(review, isCharmera, album, cancellation.token());
}

void CoordinatorWorld::logHistoryChanges() {
  if (!isReadable(*history)) {
    return;
  }
  const ImportRecords records = history->records();
  for (const ImportRecord& record : records) {
    const ImportRecord* last = lastRecords_.find(record.sourceFingerprint);
    if (last == nullptr || *last != record) {
      log.push_back("record " + record.sourceFingerprint +
                    (record.isContentConfirmed() ? " content" : " metadata"));
    }
  }
  const std::set<std::string> pending = history->pendingImportSources();
  for (const std::string& source : pending) {
    if (!lastPending_.contains(source)) {
      log.push_back("mark " + source);
    }
  }
  for (const std::string& source : lastPending_) {
    if (!pending.contains(source)) {
      log.push_back("unmark " + source);
    }
  }
  lastRecords_ = records;
  lastPending_ = pending;
}

void CoordinatorWorld::add(const std::string& entry) {
  logHistoryChanges();
  log.push_back(entry);
  onEntry(entry);
}

std::string failureOf(const std::function<void()>& work) {
  try {
    work();
    return "";
  } catch (const RecognitionError& error) {
    return error.kind() == RecognitionError::Case::budgetExceeded ? "budgetExceeded" : "resourceUnavailable";
  } catch (const SyncHistoryError& error) {
    return error.kind() == SyncHistoryError::Case::unreadableHistory ? "unreadableHistory"
                                                                     : "unresolvedImport";
  } catch (const CancellationError&) {
    return "cancelled";
  }
}

namespace {

using Log = std::vector<std::string>;

// A failure that no part of the system knows.
struct UnknownFailure {};

// Entries of what the coordinator called; the others are what it did to the history.
bool isCall(const std::string& entry) {
  return !entry.starts_with("record ") && !entry.starts_with("mark ") && !entry.starts_with("unmark ");
}

// Does `act` with the entry at this position of the log, counted from 0.
void actAt(CoordinatorWorld& world, std::size_t position, const std::function<void()>& act) {
  world.onEntry = [&world, position, act](const std::string&) {
    if (world.log.size() == position + 1) {
      act();
    }
  };
}

void expectFailureAt(std::size_t position, const WorldStep& prepare, const WorldStep& operation,
                     const Log& whole) {
  CoordinatorWorld world;
  prepare(world);
  actAt(world, position, [] { throw UnknownFailure(); });
  EXPECT_THROW(operation(world), UnknownFailure) << "failing at " << whole[position];
  EXPECT_EQ(world.finishedLog(),
            Log(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(position) + 1));
}

Log logOf(const WorldStep& prepare, const WorldStep& operation) {
  CoordinatorWorld world;
  prepare(world);
  operation(world);
  return world.finishedLog();
}

}  // namespace

void expectStepsAndFailures(const WorldStep& prepare, const WorldStep& operation, const Log& log) {
  ASSERT_EQ(logOf(prepare, operation), log);
  for (std::size_t position = 0; position < log.size(); ++position) {
    if (isCall(log[position]) && !log[position].starts_with("phase ")) {
      expectFailureAt(position, prepare, operation, log);
    }
  }
}

void expectCancellationAtGatesOnly(const WorldStep& prepare, const WorldStep& operation) {
  const Log whole = logOf(prepare, operation);
  for (std::size_t position = 0; position < whole.size(); ++position) {
    if (!isCall(whole[position])) {
      continue;
    }
    CoordinatorWorld world;
    prepare(world);
    actAt(world, position, [&world] { world.cancellation.cancel(); });
    const auto gate =
        std::find(whole.begin() + static_cast<std::ptrdiff_t>(position) + 1, whole.end(), "access");
    EXPECT_EQ(failureOf([&] { operation(world); }), gate == whole.end() ? "" : "cancelled");
    EXPECT_EQ(world.finishedLog(), Log(whole.begin(), gate)) << "cancelled at " << whole[position];
  }
  CoordinatorWorld world;
  prepare(world);
  world.cancellation.cancel();
  EXPECT_EQ(failureOf([&] { operation(world); }), "cancelled");
  EXPECT_EQ(world.finishedLog(), Log());
}

}  // namespace tolvander::tests
