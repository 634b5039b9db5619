#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Benchmarks/Measuring.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ImportHistorySummary.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"

namespace tolvander::benchmarks {

namespace {

using Candidate = OfflinePhotoRecognizer::Candidate;
using ReadResult = OfflinePhotoRecognizer::ReadResult;

constexpr std::int64_t fileCount = 5'000;
constexpr std::int64_t candidateCount = 10'000;

// What the library has of the card: nothing, each file under its name, or each under another name.
enum Shape : std::int64_t { nothingFound, foundByName, foundNearby };

// A fingerprint has 64 digits; which ones doesn't matter, so long as two differ early.
std::string fingerprint(char kind, std::int64_t number) {
  std::string digits = std::to_string(100'000 + number);
  digits += kind;
  digits.resize(64, '0');
  return digits;
}

// The moment of number `index` of `count` that are spread over one week.
Date inOneWeek(std::int64_t index, std::int64_t count) {
  constexpr std::chrono::nanoseconds week = std::chrono::hours(7 * 24);
  return Date(std::chrono::seconds(1'750'000'000) + week / count * index);
}

std::string nameOf(std::string_view prefix, std::int64_t number) {
  return std::string(prefix) + std::to_string(100'000 + number) + ".JPG";
}

std::vector<FingerprintedMediaFile> card(std::int64_t count) {
  std::vector<FingerprintedMediaFile> files;
  for (std::int64_t index = 0; index < count; ++index) {
    const std::string path = "/card/DCIM/" + nameOf("PICT", index);
    const Date date = inOneWeek(index, count);
    files.push_back({.file = {.url = FileURL(path),
                              .volumeURL = FileURL("/card"),
                              .relativePath = path.substr(6),
                              .filename = nameOf("PICT", index),
                              .byteCount = 900'000,
                              .modifiedAt = date + std::chrono::seconds(1)},
                     .sourceFingerprint = fingerprint('a', index),
                     .mediaPayloadFingerprint = "jpeg-v2:" + fingerprint('b', index),
                     .captureDate = date,
                     .metadata = MediaMetadata{.pixelWidth = 1'440, .pixelHeight = 1'080, .duration = {}},
                     .pendingProcessedFingerprint = {}});
  }
  return files;
}

// The newest first. Every second one stands for a file of the card, if the shape says that any does.
std::vector<Candidate> library(std::int64_t count, Shape shape) {
  std::vector<Candidate> candidates;
  for (std::int64_t index = count; index-- > 0;) {
    const std::string asset = UUID::random().text() + "/L0/001";
    const bool hasFilesName = shape == foundByName && index % 2 == 0;
    candidates.push_back(
        {.id = asset + "|" + std::to_string(index),
         .assetIdentifier = asset,
         .filename = hasFilesName ? nameOf("PICT", index / 2) : nameOf("IMG_", index),
         .creationDate = inOneWeek(index, count),
         .metadata = MediaMetadata{.pixelWidth = 1'440, .pixelHeight = 1'080, .duration = {}}});
  }
  return candidates;
}

// A read that costs nothing.
ReadResult readFreely(const std::string& id, Shape shape) {
  const std::int64_t index = std::stoll(id.substr(id.rfind('|') + 1));
  const bool isOfTheCard = shape != nothingFound && index % 2 == 0;
  return ReadResult::available(
      {.sourceFingerprint = isOfTheCard ? fingerprint('a', index / 2) : fingerprint('c', index),
       .mediaPayloadFingerprint = {}},
      1);
}

LibraryReconciliation search(const std::vector<FingerprintedMediaFile>& files,
                             const std::vector<Candidate>& candidates, Shape shape, bool broader) {
  const RecognitionPolicy policy = (broader ? RecognitionPolicy::broader : RecognitionPolicy::automatic)
                                       .scaled(static_cast<std::int64_t>(files.size()));
  return OfflinePhotoRecognizer::reconcile(
      files, candidates, policy, broader, {}, std::chrono::steady_clock::now,
      [shape](const std::string& id, std::int64_t, std::chrono::nanoseconds) {
        return readFreely(id, shape);
      },
      {});
}

// What any program has to do that looks for files by their names: make a set of them and look each up.
std::size_t lookUpPlainly(const std::vector<FingerprintedMediaFile>& files,
                          const std::vector<Candidate>& candidates) {
  std::unordered_set<std::string> names;
  for (const Candidate& candidate : candidates) {
    names.insert(candidate.filename);
  }
  std::size_t found = 0;
  for (const FingerprintedMediaFile& file : files) {
    found += names.count(file.file.filename);
  }
  return found;
}

void measure(benchmark::State& state, const std::vector<FingerprintedMediaFile>& files,
             const std::vector<Candidate>& candidates, Shape shape, bool broader) {
  double searching = 0;
  double lookingUp = 0;
  LibraryReconciliation found;
  for (auto unused : state) {
    static_cast<void>(unused);
    lookingUp += seconds([&] { benchmark::DoNotOptimize(lookUpPlainly(files, candidates)); });
    const double own = seconds([&] { found = search(files, candidates, shape, broader); });
    searching += own;
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["found"] = static_cast<double>(found.matches.size());
  state.counters["unchecked"] = static_cast<double>(found.unchecked.size());
  state.counters["plain_lookup_ms"] = Counter(lookingUp * 1000, Counter::kAvgIterations);
  state.counters["times_plain_lookup"] = searching / lookingUp;
  state.counters["peak_MiB"] =
      peakMebibytes([&] { benchmark::DoNotOptimize(search(files, candidates, shape, broader)); });
}

// Five thousand files against ten thousand candidates, all of one week.
void searchALibraryOfOneWeek(benchmark::State& state) {
  const auto shape = static_cast<Shape>(state.range(0));
  measure(state, card(fileCount), library(candidateCount, shape), shape, state.range(1) != 0);
}
BENCHMARK(searchALibraryOfOneWeek)
    ->ArgNames({"shape", "broader"})
    ->ArgsProduct({{nothingFound, foundByName, foundNearby}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The library's size is felt in the keying of its names alone when all files are found by name.
void searchALargeLibraryByName(benchmark::State& state) {
  constexpr std::int64_t readableFiles = 2'000;  // the policy then allows twice as many reads
  measure(state, card(readableFiles), library(state.range(0), foundByName), foundByName, false);
}
BENCHMARK(searchALargeLibraryByName)
    ->ArgName("candidates")
    ->Arg(10'000)
    ->Arg(200'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

ImportRecords history(std::int64_t count) {
  std::vector<ImportRecord> records;
  for (std::int64_t number = 0; number < count; ++number) {
    ImportRecord record;
    record.sourceFingerprint = fingerprint('a', number);
    record.mediaPayloadFingerprint = "jpeg-v2:" + fingerprint('b', number);
    record.filename = nameOf("PICT", number);
    record.photosAssetIdentifier = UUID::random().text() + "/L0/001";
    records.push_back(std::move(record));
  }
  return ImportRecords(std::move(records));
}

// What any count of different items has to do: put their identities into a set.
std::size_t countSourcesPlainly(const ImportRecords& records) {
  std::unordered_set<std::string_view> sources;
  for (const ImportRecord& record : records) {
    sources.insert(record.sourceFingerprint);
  }
  return sources.size();
}

void summarizeHistory(benchmark::State& state) {
  const ImportRecords records = history(state.range(0));
  double summarizing = 0;
  double counting = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    counting += seconds([&] { benchmark::DoNotOptimize(countSourcesPlainly(records)); });
    const double own = seconds([&] { benchmark::DoNotOptimize(ImportHistorySummary::of(records)); });
    summarizing += own;
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["plain_set_ms"] = Counter(counting * 1000, Counter::kAvgIterations);
  state.counters["times_plain_set"] = summarizing / counting;
  state.counters["peak_MiB"] =
      peakMebibytes([&] { benchmark::DoNotOptimize(ImportHistorySummary::of(records)); });
}
BENCHMARK(summarizeHistory)->ArgName("records")->Arg(100'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
