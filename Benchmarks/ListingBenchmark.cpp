#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "Benchmarks/Measuring.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"

namespace tolvander::benchmarks {

namespace {

namespace fs = std::filesystem;

// What any listing has to do: walk the folders and ask for each file's size and date.
std::uintmax_t walkPlainly(const FileURL& root) {
  std::uintmax_t sum = 0;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root.path())) {
    if (entry.is_regular_file()) {
      sum += entry.file_size();
      benchmark::DoNotOptimize(entry.last_write_time());
    }
  }
  return sum;
}

void listACardOfTenThousandFiles(benchmark::State& state) {
  const tests::TemporaryFolder card;
  const auto filesPerFolder = static_cast<int>(state.range(0));
  for (int number = 0; number < 10'000; ++number) {
    const std::string folder = "DCIM/" + std::to_string(100 + number / filesPerFolder) + "CHRM/";
    tests::writeFile(card / (folder + "PICT" + std::to_string(number) + ".JPG"), "");
  }
  const DeviceProfile profile = DeviceProfile::charmera();
  double listing = 0;
  double walking = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    walking += seconds([&] { benchmark::DoNotOptimize(walkPlainly(card.url())); });
    const double own = seconds(
        [&] { benchmark::DoNotOptimize(MountedVolumeMediaSource::mediaFiles(card.url(), profile).data()); });
    listing += own;
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["plain_walk_ms"] = Counter(walking * 1000, Counter::kAvgIterations);
  state.counters["times_plain_walk"] = listing / walking;
  state.counters["peak_MiB"] = peakMebibytes(
      [&] { benchmark::DoNotOptimize(MountedVolumeMediaSource::mediaFiles(card.url(), profile).data()); });
}
BENCHMARK(listACardOfTenThousandFiles)
    ->ArgName("files_a_folder")
    ->Arg(1'000)
    ->Arg(10'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
