#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "Benchmarks/Measuring.h"
#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::benchmarks {

namespace {

constexpr std::size_t photoCount = 500;
constexpr std::size_t photoSize = 900'000;

std::string contentOf(std::size_t number) {
  std::string content(photoSize, '\0');
  auto state = static_cast<std::uint32_t>(number + 1);
  for (char& byte : content) {
    state = state * 1'664'525U + 1'013'904'223U;
    byte = static_cast<char>(state >> 24U);
  }
  return content;
}

void runSha256sum(const std::vector<FingerprintedMediaFile>& files) {
  std::vector<std::string> texts{"sha256sum"};
  for (const FingerprintedMediaFile& file : files) {
    texts.push_back(file.file.url.path());
  }
  std::vector<char*> arguments;
  for (std::string& text : texts) {
    arguments.push_back(text.data());
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  int status = posix_spawnp(&child, "sha256sum", &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (status != 0 || waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("sha256sum does not run");
  }
}

// A card's worth of photos into the Trash, each hashed before and after, beside the two passes of hashing
// that anybody would need for the same proof. All in the page cache.
void moveToTrash(benchmark::State& state) {
  const tests::TemporaryFolder folder;
  tests::TrashScene scene(folder / "volume");
  scene.watched.volumeUUID = [](const FileURL&) { return "VOLUME"; };
  std::vector<FingerprintedMediaFile> photos;
  for (std::size_t number = 0; number < photoCount; ++number) {
    photos.push_back(scene.addPhoto("PICT" + std::to_string(10'000 + number) + ".JPG", contentOf(number)));
  }
  sync();  // what was just written is no part of what is measured
  double moving = 0;
  double sha256sum = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    sha256sum += seconds([&] {
      runSha256sum(photos);
      runSha256sum(photos);
    });
    app::TrashMoveResult result;
    const double own = seconds([&] { result = scene.move(photos); });
    moving += own;
    state.SetIterationTime(own);
    if (scene.service.restoreToOriginalLocations(result.records).restored.size() != photoCount) {
      throw std::runtime_error("not every photo came back");
    }
  }
  using benchmark::Counter;
  state.counters["two_sha256sum_s"] = Counter(sha256sum, Counter::kAvgIterations);
  state.counters["part_of_two_sha256sum"] = moving / sha256sum;
}
BENCHMARK(moveToTrash)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
