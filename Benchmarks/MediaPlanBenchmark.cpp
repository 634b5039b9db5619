#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Platform/AtomicFile.h"

namespace tolvander::benchmarks {

namespace {

using Bytes = std::vector<std::byte>;
using benchmark::Counter;

constexpr std::size_t megabyte = 1'000'000;
constexpr int fileCount = 200;

double seconds(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

Bytes photograph(std::uint32_t seed) {
  return tests::JPEGBuilder()
      .jfif()
      .exif(tests::TIFFBuilder().orientation(1).originalDate("2026:11:20 10:30:00"))
      .quantisationTable()
      .frame(1440, 1080)
      .huffmanTable()
      .scan(tests::entropyCodedData(megabyte, seed))
      .endOfImage()
      .build();
}

MediaProcessingPlan plan(Bytes data) {
  return CharmeraMediaProcessor::plan(std::move(data), "JPG", true, std::nullopt, TimeZone::utc());
}

// Beside the three SHA-256 passes that a plan can't do without, in turns, because a shared machine is faster
// and slower by the minute.
void hashThreeTimes(const Bytes& data) {
  for (int pass = 0; pass < 3; ++pass) {
    benchmark::DoNotOptimize(FileFingerprinter::sha256(data));
  }
}

// Beside the three SHA-256 passes that a plan can't do without, in turns, because a shared machine is faster
// and slower by the minute.
void planOfAMegabyte(benchmark::State& state) {
  const Bytes data = photograph(1);
  double hashes = 0;
  double plans = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    hashes += seconds([&] { hashThreeTimes(data); });
    Bytes copy = data;
    const double own = seconds([&] { benchmark::DoNotOptimize(plan(std::move(copy))); });
    plans += own;
    state.SetIterationTime(own);
  }
  state.counters["three_hashes_s"] = Counter(hashes, Counter::kAvgIterations);
  state.counters["plan_s"] = Counter(plans, Counter::kAvgIterations);
  state.counters["times_three_hashes"] = plans / hashes;
}
BENCHMARK(planOfAMegabyte)->UseManualTime()->Iterations(300)->Unit(benchmark::kMillisecond);

// Files of a card, written anew for every run of a program that changes them in place.
class Card {
 public:
  Card() {
    for (int number = 0; number < fileCount; ++number) {
      files_.push_back(folder_ / ("PICT" + std::to_string(number) + ".JPG"));
      photographs_.push_back(photograph(static_cast<std::uint32_t>(number)));
    }
    restore();
  }

  void restore() const {
    for (std::size_t index = 0; index < files_.size(); ++index) {
      write(files_[index], photographs_[index]);
    }
  }

  static void write(const FileURL& url, const Bytes& data) {
    AtomicFile file(url, Durability::survivesProcess);
    file.write(data);
    file.commit();
  }

  const std::vector<FileURL>& files() const { return files_; }
  const std::vector<Bytes>& photographs() const { return photographs_; }

 private:
  tests::TemporaryFolder folder_;
  std::vector<FileURL> files_;
  std::vector<Bytes> photographs_;
};

Bytes contents(const FileURL& url) {
  Bytes bytes(std::filesystem::file_size(url.path()));
  FileReader(url).read(bytes);
  return bytes;
}

void repairAll(const Card& card, const FileURL& target) {
  for (const FileURL& file : card.files()) {
    Card::write(target.appending(file.lastPathComponent()), *plan(contents(file)).outputData);
  }
}

// The time of a program over all files of the card, which it changes in place. What it is told makes it write
// much the same Exif.
double secondsOfTool(const Card& card, std::vector<std::string> command) {
  card.restore();
  for (const FileURL& file : card.files()) {
    command.push_back(file.path());
  }
  return seconds([&] {
    const tests::ToolResult result = tests::runTool(command);
    if (result.status != 0) {
      throw std::runtime_error(command.front() + ": " + result.errors);
    }
  });
}

// From file to file, with all fingerprints, beside programs that write new Exif and compute no fingerprint.
void repairOf200Files(benchmark::State& state) {
  const Card card;
  const std::vector<std::string> exiftool{"exiftool",
                                          "-q",
                                          "-overwrite_original",
                                          "-exif:all=",
                                          "-Make=KODAK",
                                          "-Model=Charmera",
                                          "-Orientation#=1",
                                          "-AllDates=2026:11:20 10:30:00",
                                          "-FNumber=2.4",
                                          "-ExifImageWidth=1440",
                                          "-ExifImageHeight=1080",
                                          "-FocalLengthIn35mmFormat=35",
                                          "-LensModel=35mm f/2.4"};
  const std::vector<std::string> jhead{"jhead", "-q", "-mkexif", "-ts2026:11:20-10:30:00"};
  double own = 0;
  double hashes = 0;
  double exiftoolSeconds = 0;
  double jheadSeconds = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    card.restore();
    const tests::TemporaryFolder target;
    const double repair = seconds([&] { repairAll(card, target.url()); });
    own += repair;
    state.SetIterationTime(repair);
    hashes += seconds([&] { std::ranges::for_each(card.photographs(), hashThreeTimes); });
    if (tests::toolExists("exiftool")) {
      exiftoolSeconds += secondsOfTool(card, exiftool);
    }
    if (tests::toolExists("jhead")) {
      jheadSeconds += secondsOfTool(card, jhead);
    }
  }
  state.counters["repair_s"] = Counter(own, Counter::kAvgIterations);
  state.counters["of_it_fingerprints_s"] = Counter(hashes, Counter::kAvgIterations);
  // Zero where the program is not installed.
  state.counters["exiftool_s"] = Counter(exiftoolSeconds, Counter::kAvgIterations);
  state.counters["jhead_s"] = Counter(jheadSeconds, Counter::kAvgIterations);
  state.counters["faster_than_exiftool"] = exiftoolSeconds / own;
  state.counters["faster_than_jhead"] = jheadSeconds / own;
}
BENCHMARK(repairOf200Files)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
