#include <benchmark/benchmark.h>

#include <filesystem>
#include <stdexcept>

#include "Benchmarks/Measuring.h"
#include "Samples/SampleCard.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"

namespace tolvander::benchmarks {

namespace {

using tests::TemporaryFolder;

// In batches of 16, as a sync stages them; each batch is gone before the next one is made.
void stageInBatches(MediaStagingService& service, const std::vector<CameraMediaFile>& files) {
  constexpr std::size_t batchSize = 16;
  for (std::size_t start = 0; start < files.size(); start += batchSize) {
    const auto begin = files.begin() + static_cast<std::ptrdiff_t>(start);
    const auto end = files.begin() + static_cast<std::ptrdiff_t>(std::min(start + batchSize, files.size()));
    service.withPreparedBatch({begin, end}, true, TimeZone::utc(), [](const PreparedMediaBatch& batch) {
      benchmark::DoNotOptimize(batch.files.data());
    });
  }
}

void copyWithCp(const FileURL& source, const FileURL& destination) {
  if (tests::runTool({"cp", "-r", source.path(), destination.path()}).status != 0) {
    throw std::runtime_error("cp failed");
  }
}

void stageFiveHundredPhotos(benchmark::State& state) {
  const TemporaryFolder folder;
  tests::SampleCardOptions options;
  options.photos = 500;
  options.videos = 0;
  tests::writeSampleCard(folder / "card", options);
  const auto files = MountedVolumeMediaSource::mediaFiles(folder / "card", DeviceProfile::charmera());
  MediaStagingService service(folder / "staging");
  double staging = 0;
  double copying = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    copying += seconds([&] { copyWithCp(folder / "card", folder / "copy"); });
    std::filesystem::remove_all((folder / "copy").path());
    const double own = seconds([&] { stageInBatches(service, files); });
    staging += own;
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["cp_r_ms"] = Counter(copying * 1000, Counter::kAvgIterations);
  state.counters["times_cp_r"] = staging / copying;
  state.counters["peak_MiB"] = peakMebibytes([&] { stageInBatches(service, files); });
}
BENCHMARK(stageFiveHundredPhotos)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
