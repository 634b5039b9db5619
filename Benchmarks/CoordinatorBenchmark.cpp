#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Benchmarks/Measuring.h"
#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/SyncCoordinator.h"

namespace tolvander::benchmarks {

namespace {

using Files = std::vector<FingerprintedMediaFile>;

constexpr std::int64_t recordCount = 100'000;
constexpr std::int64_t fileCount = 10'000;

FingerprintedMediaFile fileNumber(std::int64_t number) {
  const std::string name = "PICT" + std::to_string(10'000 + number) + ".JPG";
  const std::string relativePath = "DCIM/100CHRM/" + name;
  return {.file = {.url = FileURL("/camera/" + relativePath),
                   .volumeURL = FileURL("/camera"),
                   .relativePath = relativePath,
                   .filename = name,
                   .byteCount = 900'000 + number,
                   .modifiedAt = {}},
          .sourceFingerprint = FileFingerprinter::sha256(tests::bytesOf("source" + std::to_string(number))),
          .mediaPayloadFingerprint =
              "jpeg-v2:" + FileFingerprinter::sha256(tests::bytesOf("payload" + std::to_string(number))),
          .captureDate = {},
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

std::vector<ImportRecord> recordsOfFiles(std::int64_t count) {
  std::vector<ImportRecord> records;
  for (std::int64_t number = 0; number < count; ++number) {
    const FingerprintedMediaFile file = fileNumber(number);
    ImportRecord record;
    record.sourceFingerprint = file.sourceFingerprint;
    record.mediaPayloadFingerprint = file.mediaPayloadFingerprint;
    record.filename = file.file.filename;
    record.relativePath = file.file.relativePath;
    record.byteCount = file.file.byteCount;
    record.photosAssetIdentifier = "asset-" + std::to_string(number);
    records.push_back(std::move(record));
  }
  return records;
}

// A long history and a card of which some files are recorded. What lies outside the coordinator costs
// nothing.
struct World {
  explicit World(std::int64_t recordedFiles) {
    const std::int64_t first = recordCount - recordedFiles;
    for (std::int64_t number = first; number < first + fileCount; ++number) {
      card.push_back(fileNumber(number));
      cameraFiles.push_back(card.back().file);
    }
    HistoryDatabase database;
    database.imports = ImportRecords(recordsOfFiles(recordCount));
    std::string text;
    writeHistory(database, [&text](std::span<const std::byte> bytes) {
      text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    });
    tests::writeFile(folder / "history.json", text);
    history = std::make_shared<SyncHistoryStore>(folder / "history.json");
    records = history->records();
  }

  SyncCoordinator coordinator() {
    SyncCoordinator::Dependencies dependencies;
    dependencies.checkAccess = [] {};
    dependencies.fingerprint = [this](const auto&, bool) { return card; };
    dependencies.reconcile = [this](const Files& files, bool) { return recognition(files); };
    dependencies.existingIdentifiers = [](const std::vector<std::string>& identifiers) {
      return std::set<std::string>(identifiers.begin(), identifiers.end());
    };
    dependencies.importFiles = [](const Files& files, bool) { return files; };
    dependencies.addToAlbum = [](const auto&, const auto&) {};
    dependencies.phase = [](const SyncPhase&) {};
    return {history, dependencies};
  }

  tests::TemporaryFolder folder;
  std::shared_ptr<SyncHistoryStore> history;
  ImportRecords records;
  Files card;
  std::vector<CameraMediaFile> cameraFiles;
  std::function<LibraryReconciliation(const Files&)> recognition = [](const Files&) {
    return LibraryReconciliation();
  };
};

// What anybody has to do who compares the two: put the records' identities into hash tables and look up the
// files'.
std::size_t lookUpPlainly(const World& world) {
  std::unordered_map<std::string_view, const ImportRecord*> bySource;
  std::unordered_map<std::string_view, const ImportRecord*> byPayload;
  bySource.reserve(world.records.size());
  byPayload.reserve(world.records.size());
  for (const ImportRecord& record : world.records) {
    bySource.emplace(record.sourceFingerprint, &record);
    byPayload.emplace(*record.mediaPayloadFingerprint, &record);
  }
  std::size_t known = 0;
  for (const FingerprintedMediaFile& file : world.card) {
    known += bySource.count(file.sourceFingerprint) + byPayload.count(*file.mediaPayloadFingerprint);
  }
  return known;
}

void measure(benchmark::State& state, const World& world, const std::function<void()>& work) {
  double working = 0;
  double lookingUp = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    lookingUp += seconds([&] { benchmark::DoNotOptimize(lookUpPlainly(world)); });
    const double own = seconds(work);
    working += own;
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["plain_look_up_ms"] = Counter(lookingUp * 1000, Counter::kAvgIterations);
  state.counters["times_plain_look_up"] = working / lookingUp;
  state.counters["peak_MiB"] = peakMebibytes(work);
}

void runCard(benchmark::State& state) {
  World world(fileCount / 2);
  const SyncCoordinator coordinator = world.coordinator();
  measure(state, world, [&] {
    benchmark::DoNotOptimize(coordinator.run(world.cameraFiles, true, "Trip", {}).imported.data());
  });
}
BENCHMARK(runCard)->UseManualTime()->Unit(benchmark::kMillisecond);

void reviewCard(benchmark::State& state) {
  World world(fileCount / 2);
  const SyncCoordinator coordinator = world.coordinator();
  measure(state, world, [&] {
    benchmark::DoNotOptimize(coordinator.review(world.cameraFiles, true, false, {}).newFiles.data());
  });
}
BENCHMARK(reviewCard)->UseManualTime()->Unit(benchmark::kMillisecond);

// A run that finds every file of a new card in the library and records them all, against the save of one
// record, which writes the same file.
void runCardFoundInTheLibrary(benchmark::State& state) {
  double running = 0;
  double saving = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    World world(0);
    world.recognition = [](const Files& files) {
      LibraryReconciliation found;
      for (const FingerprintedMediaFile& file : files) {
        found.matches[file.sourceFingerprint] = {.assetIdentifier = "asset",
                                                 .resourceFingerprint = file.sourceFingerprint,
                                                 .mediaPayloadFingerprint = {}};
      }
      return found;
    };
    const ImportRecord known = *world.records.begin();
    saving += seconds([&] { world.history->record(known); });
    const SyncCoordinator coordinator = world.coordinator();
    const double own = seconds([&] { coordinator.run(world.cameraFiles, true, {}, {}); });
    running += own;
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["one_save_ms"] = Counter(saving * 1000, Counter::kAvgIterations);
  state.counters["times_one_save"] = running / saving;
}
BENCHMARK(runCardFoundInTheLibrary)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
