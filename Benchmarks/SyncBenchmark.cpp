#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "Benchmarks/Measuring.h"
#include "Platform/Linux/PhotoLibrary/CatalogueSchema.h"
#include "Samples/AVIWriter.h"
#include "Samples/Bytes.h"
#include "Samples/SampleCard.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/HistoryDatabase.h"

namespace tolvander::benchmarks {

namespace {

namespace fs = std::filesystem;

using benchmark::Counter;
using platform::linux_::Database;
using platform::linux_::Transaction;
using tests::TemporaryFolder;
using Strings = std::vector<std::string>;

// Runs a program of the search path to its end, which has to be a good one, and gives the seconds it took.
double run(const Strings& arguments) {
  return seconds([&] {
    const tests::ToolResult result = tests::runTool(arguments);
    if (result.status != 0) {
      throw std::runtime_error(arguments.front() + " failed: " + result.output + result.errors);
    }
  });
}

double shell(const std::string& script) { return run({"sh", "-c", script}); }

std::string quoted(const FileURL& url) { return "'" + url.path() + "'"; }

// What others have written before is no business of whoever is measured next.
void settleDisk() { sync(); }

// What the program took.
struct Effort {
  double seconds = 0;
  double peakMebibytes = 0;
};

// By time(1), since a process that starts another one hands its own peak on to it.
Effort tolvander(const FileURL& home, Strings arguments) {
  const TemporaryFolder folder;
  const FileURL peak = folder / "peak";
  arguments.insert(arguments.begin(),
                   {"time", "--format=%M", "--output=" + peak.path(), TOLVANDERCTL, "--home", home.path()});
  const double time = run(arguments);
  return {.seconds = time, .peakMebibytes = std::stod(tests::readFile(peak)) / 1024};
}

// A video of about 20 MB, of a photo's frames and sound.
void writeLongVideo(const FileURL& url, const FileURL& frame) {
  constexpr std::uint64_t size = 20'000'000;
  const std::string picture = tests::readFile(frame);
  tests::AVIWriter writer(url, {.width = tests::samplePhotoWidth,
                                .height = tests::samplePhotoHeight,
                                .audio = {tests::AVIAudioFormat::pcm16()}});
  const std::string sound(532, '\0');
  while (writer.position() < size) {
    writer.video(picture);
    writer.audio(sound);
  }
  writer.finish();
}

// Photos of about 0.9 MB and videos of 20 MB, each different.
class Card {
 public:
  Card(unsigned photos, unsigned videos) {
    tests::writeSampleCard(url, {.photos = std::max(photos, videos), .videos = 0});
    for (unsigned number = 1; number <= videos; ++number) {
      const std::string suffix = (number < 10 ? "0" : "") + std::to_string(number);
      writeLongVideo(media.appending("MOVI00" + suffix + ".AVI"),
                     media.appending("PICT00" + suffix + ".JPG"));
    }
  }

  TemporaryFolder folder;
  const FileURL url = folder / "CARD";
  const FileURL media = url.appending("DCIM/100CHRM");
};

// MARK: New files

struct Peers {
  double cpAndSync = 0;
  std::optional<double> gphoto2;
  std::optional<double> exiftool;
};

Peers measurePeers(const Card& card) {
  const TemporaryFolder folder;
  Peers peers;
  const FileURL copy = folder / "copy";
  settleDisk();
  peers.cpAndSync = shell("cp -r " + quoted(card.url) + " " + quoted(copy) + " && sync -f " + quoted(copy));
  fs::remove_all(copy.path());
  if (tests::toolExists("gphoto2")) {
    fs::create_directory(copy.path());
    settleDisk();
    peers.gphoto2 = shell("cd " + quoted(copy) + " && gphoto2 --quiet --port 'disk:" + card.url.path() +
                          "' --get-all-files && sync -f .");
    fs::remove_all(copy.path());
  }
  if (tests::toolExists("exiftool")) {
    settleDisk();
    // By the day of the picture, or of the file where it has none.
    peers.exiftool =
        shell("exiftool -q -q -m -r -ext jpg -ext avi -o " + quoted(copy) + "/ -d " + quoted(copy) +
              "/%Y/%Y-%m-%d '-Directory<FileModifyDate' '-Directory<DateTimeOriginal' " +
              quoted(card.url.appending("DCIM")) + " && sync -f " + quoted(copy));
  }
  return peers;
}

// Arguments: photos, videos. 500 and 5 are what is aimed at; the others show that memory doesn't grow.
void firstSync(benchmark::State& state) {
  const Card card(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
  double own = 0;
  double peak = 0;
  Peers peers;
  for (auto unused : state) {
    static_cast<void>(unused);
    peers = measurePeers(card);
    const TemporaryFolder folder;
    settleDisk();
    const Effort effort = tolvander(folder / "home", {"sync", "--yes", card.url.path()});
    own = effort.seconds;
    peak = effort.peakMebibytes;
    state.SetIterationTime(own);
  }
  state.counters["cp_and_sync_ms"] = peers.cpAndSync * 1000;
  state.counters["times_cp_and_sync"] = own / peers.cpAndSync;
  if (peers.gphoto2) {
    state.counters["times_gphoto2"] = own / *peers.gphoto2;
  }
  if (peers.exiftool) {
    state.counters["times_exiftool"] = own / *peers.exiftool;
  }
  state.counters["peak_MiB"] = peak;
}
BENCHMARK(firstSync)->Args({20, 1})->Args({100, 1})->Args({500, 5})->UseManualTime()->Iterations(1)->Unit(
    benchmark::kMillisecond);

// MARK: Known files

// Nothing is new, which can't be known without reading everything.
void secondSync(benchmark::State& state) {
  const Card card(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
  const TemporaryFolder folder;
  tolvander(folder / "home", {"sync", "--yes", card.url.path()});
  settleDisk();
  double own = 0;
  double theirs = 0;
  double peak = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    theirs += shell("find " + quoted(card.url) + " -type f -exec sha256sum {} +");
    const Effort effort = tolvander(folder / "home", {"sync", card.url.path()});
    own += effort.seconds;
    peak = std::max(peak, effort.peakMebibytes);
    state.SetIterationTime(effort.seconds);
  }
  state.counters["sha256sum_ms"] = Counter(theirs * 1000, Counter::kAvgIterations);
  state.counters["times_sha256sum"] = own / theirs;
  state.counters["peak_MiB"] = peak;
}
BENCHMARK(secondSync)
    ->Args({20, 1})
    ->Args({500, 5})
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

// MARK: A card against a great library

constexpr std::int64_t assetsOfLibrary = 200'000;
constexpr std::int64_t recordsOfHistory = 20'000;

// Pictures of the years before the card's, of another camera: none has to be read to know that it is another
// one.
void fillLibrary(const FileURL& file) {
  Database database(file, Database::OpenMode::existing, std::chrono::milliseconds(0));
  database.run("PRAGMA synchronous=OFF");
  Transaction transaction(database, Transaction::Kind::writing);
  const std::string numbers =
      "WITH RECURSIVE numbers (n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM numbers WHERE n + 1 < " +
      std::to_string(assetsOfLibrary) + ") ";
  database.run(numbers +
               "INSERT INTO assets SELECT n + 1000000, printf('%08X-0000-4000-8000-%012X', n * 2654435761 & "
               "4294967295, n), 1, 1640000000000000000 + n * 600000000000, 4032, 3024, 0.0 FROM numbers");
  database.run(
      "INSERT INTO resources SELECT id, 0, 0, printf('PICT%04d.JPG', id % 10000), "
      "printf('Originals/%d.JPG', id), printf('originals/%d.jpg', id), 900000 FROM assets WHERE id >= "
      "1000000");
  transaction.commit();
}

void fillHistory(const FileURL& file) {
  HistoryDatabase database = readHistory(file);
  std::vector<ImportRecord> records(database.imports.begin(), database.imports.end());
  for (std::int64_t number = 0; number < recordsOfHistory; ++number) {
    const std::string text = std::to_string(number);
    ImportRecord record;
    record.sourceFingerprint = FileFingerprinter::sha256(tests::bytesOf("source" + text));
    record.mediaPayloadFingerprint = "jpeg-v2:" + FileFingerprinter::sha256(tests::bytesOf("payload" + text));
    record.filename = "PICT.JPG";
    record.relativePath = "DCIM/100CHRM/PICT.JPG";
    record.byteCount = 900'000;
    record.photosAssetIdentifier = "asset-" + text;
    records.push_back(std::move(record));
  }
  database.imports = ImportRecords(std::move(records));
  std::string text;
  writeHistory(database, [&text](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  tests::writeFile(file, text);
}

// Half of the card is known, the other half isn't.
void checkAgainstGreatLibrary(benchmark::State& state) {
  const auto photos = static_cast<unsigned>(state.range(0));
  const Card known(photos / 2, 0);
  const Card card(photos, 0);
  const TemporaryFolder folder;
  const FileURL home = folder / "home";
  // Before setup is complete, or it would be synced.
  tolvander(home, {"cameras", "add", card.url.path()});
  tolvander(home, {"sync", "--yes", known.url.path()});
  fillLibrary(home.appending("pictures/Tolvander/Library.sqlite"));
  fillHistory(home.appending("data/Tolvander/history.json"));
  settleDisk();
  double own = 0;
  double theirs = 0;
  double peak = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    theirs += shell("find " + quoted(card.url) + " -type f -exec sha256sum {} +");
    const Effort effort = tolvander(home, {"check", card.url.path()});
    own += effort.seconds;
    peak = std::max(peak, effort.peakMebibytes);
    state.SetIterationTime(effort.seconds);
  }
  state.counters["sha256sum_ms"] = Counter(theirs * 1000, Counter::kAvgIterations);
  state.counters["times_sha256sum"] = own / theirs;
  state.counters["peak_MiB"] = peak;
}
BENCHMARK(checkAgainstGreatLibrary)
    ->Arg(40)
    ->Arg(1000)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
