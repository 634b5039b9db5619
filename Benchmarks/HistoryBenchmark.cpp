#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>

#include "Benchmarks/Measuring.h"
#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::benchmarks {

namespace {

using tests::TemporaryFolder;

ImportRecord recordNumber(std::int64_t number) {
  const std::string source = FileFingerprinter::sha256(tests::bytesOf("source" + std::to_string(number)));
  const std::string processed =
      FileFingerprinter::sha256(tests::bytesOf("processed" + std::to_string(number)));
  const std::string name = "PICT" + std::to_string(10'000 + number) + ".JPG";
  ImportRecord record;
  record.sourceFingerprint = source;
  record.mediaPayloadFingerprint = "jpeg-v2:" + processed;
  record.processedFingerprint = processed;
  record.processingVersion = 1;
  record.filename = name;
  record.relativePath = "DCIM/100CHRM/" + name;
  record.byteCount = 900'000 + number;
  record.importedAt = Date(std::chrono::seconds(1'700'000'000 + number));
  record.photosAssetIdentifier = UUID::random().text() + "/L0/001";
  return record;
}

HistoryDatabase historyOf(std::int64_t count) {
  std::vector<ImportRecord> records;
  for (std::int64_t number = 0; number < count; ++number) {
    records.push_back(recordNumber(number));
  }
  HistoryDatabase database;
  database.imports = ImportRecords(std::move(records));
  return database;
}

// A history file of so many records in a folder of its own.
struct HistoryFile {
  explicit HistoryFile(std::int64_t count) {
    std::string text;
    writeHistory(historyOf(count), [&text](std::span<const std::byte> bytes) {
      text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    });
    tests::writeFile(url, text);
  }
  TemporaryFolder folder;
  FileURL url = folder / "history.json";
};

// What any program has to do that replaces a file durably, with bytes that it has at hand.
void replacePlainly(const FileURL& url, const std::string& bytes) {
  const std::string temporary = url.path() + ".new";
  const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  const int folder = open(url.deletingLastPathComponent().path().c_str(), O_RDONLY | O_CLOEXEC);
  const bool isWritten = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
                         fsync(file) == 0 && rename(temporary.c_str(), url.path().c_str()) == 0 &&
                         fsync(folder) == 0;
  close(file);
  close(folder);
  if (!isWritten) {
    throw std::runtime_error("the file could not be replaced");
  }
}

void loadHistory(benchmark::State& state) {
  const HistoryFile file(state.range(0));
  double loading = 0;
  double reading = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    reading += seconds([&] { benchmark::DoNotOptimize(tests::readFile(file.url).data()); });
    std::optional<SyncHistoryStore> store;
    const double own = seconds([&] { store.emplace(file.url); });
    loading += own;
    state.SetIterationTime(own);
  }
  state.counters["file_MB"] = static_cast<double>(tests::readFile(file.url).size()) / 1e6;
  state.counters["times_reading"] = loading / reading;
  state.counters["peak_MiB"] = peakMebibytes([&] { const SyncHistoryStore store(file.url); });
}
BENCHMARK(loadHistory)
    ->ArgName("records")
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void saveOneRecord(benchmark::State& state) {
  const HistoryFile file(state.range(0));
  SyncHistoryStore store(file.url);
  std::int64_t number = state.range(0);
  double saving = 0;
  double replacing = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    const ImportRecord record = recordNumber(number++);
    const double own = seconds([&] { store.record(record); });
    saving += own;
    const std::string bytes = tests::readFile(file.url);
    replacing += seconds([&] { replacePlainly(file.folder / "plain.json", bytes); });
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["plain_ms"] = Counter(replacing * 1000, Counter::kAvgIterations);
  state.counters["times_plain"] = saving / replacing;
  state.counters["peak_MiB"] = peakMebibytes([&] {
    SyncHistoryStore own(file.url);
    own.record(recordNumber(-1));
  });
}
BENCHMARK(saveOneRecord)
    ->ArgName("records")
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
