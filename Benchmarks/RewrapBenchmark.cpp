#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "Benchmarks/Measuring.h"
#include "Samples/AVIWriter.h"
#include "Samples/JPEGFrame.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/NativeCharmeraVideoProcessor.h"

namespace tolvander::benchmarks {

namespace {

constexpr std::uint64_t clipSize = 230'000'000;

// A camera's clip of 230 MB in the page cache: Motion JPEG at 30 frames a second with 16-bit sound.
// A clip that repeats has three chunks for every four frames, the fourth being only in the index.
class CameraClip {
 public:
  explicit CameraClip(bool repeats) {
    tests::AVIHeader header;
    header.width = 1440;
    header.height = 1080;
    header.audio = {tests::AVIAudioFormat::pcm16(1, 32'000)};
    tests::AVIWriter writer(source_, header);
    std::vector<std::string> frames;
    for (std::uint32_t seed = 0; seed < 16; ++seed) {
      frames.push_back(tests::jpegFrame(header.width, header.height, seed));
    }
    const std::string sound(2134, '\x55');
    for (std::size_t frame = 0; writer.position() < clipSize; ++frame) {
      if (repeats && frame % 4 == 3) {
        writer.repeatByIndex();
      } else {
        writer.video(frames[frame % frames.size()]);
      }
      writer.audio(sound);
    }
    writer.finish();
  }

  const FileURL& source() const { return source_; }
  const FileURL& destination() const { return destination_; }
  void removeDestination() const { std::filesystem::remove(destination_.path()); }

 private:
  tests::TemporaryFolder folder_;
  FileURL source_ = folder_ / "PICT0001.AVI";
  FileURL destination_ = folder_ / "PICT0001.mov";
};

const CameraClip& plainClip() {
  static const CameraClip clip(false);
  return clip;
}

const CameraClip& repeatingClip() {
  static const CameraClip clip(true);
  return clip;
}

void rewrap(const CameraClip& clip) {
  clip.removeDestination();
  NativeCharmeraVideoProcessor().transcode(clip.source(), clip.destination(), {});
}

void runFfmpeg(const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {"ffmpeg", "-nostdin", "-v", "error", "-y", "-i"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(command.size() + 1);
  for (std::string& argument : command) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  pid_t child = 0;
  int status = 0;
  if (posix_spawnp(&child, "ffmpeg", nullptr, nullptr, pointers.data(), environ) != 0 ||
      waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("ffmpeg failed");
  }
}

// The same in the tool's terms: a copy of the streams, and a hash of each stream of both files.
void rewrapWithFfmpeg(const CameraClip& clip) {
  clip.removeDestination();
  const std::string source = clip.source().path();
  const std::string destination = clip.destination().path();
  runFfmpeg({source, "-map", "0", "-c", "copy", destination});
  for (const std::string& file : {source, destination}) {
    runFfmpeg({file, "-map", "0", "-c", "copy", "-f", "streamhash", "/dev/null"});
  }
}

// Rewrapping with its whole proof against the tool's copy and two hashes, in turns so that both meet the same
// machine.
void measureAgainstFfmpeg(benchmark::State& state, const CameraClip& clip) {
  constexpr double never = std::numeric_limits<double>::infinity();
  double ours = never;
  double theirs = never;
  rewrap(clip);
  for (auto unused : state) {
    static_cast<void>(unused);
    ours = std::min(ours, seconds([&] { rewrap(clip); }));
    theirs = std::min(theirs, seconds([&] { rewrapWithFfmpeg(clip); }));
  }
  state.counters["seconds"] = ours;
  state.counters["ffmpeg_seconds"] = theirs;
  state.counters["times_faster"] = theirs / ours;
}

void rewrapAgainstFfmpeg(benchmark::State& state) { measureAgainstFfmpeg(state, plainClip()); }
BENCHMARK(rewrapAgainstFfmpeg)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

void rewrapRepeatsAgainstFfmpeg(benchmark::State& state) { measureAgainstFfmpeg(state, repeatingClip()); }
BENCHMARK(rewrapRepeatsAgainstFfmpeg)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

void rewrapMemory(benchmark::State& state) {
  plainClip();
  for (auto unused : state) {
    static_cast<void>(unused);
    state.counters["peak_MiB"] = peakMebibytes([] { rewrap(plainClip()); });
  }
}
BENCHMARK(rewrapMemory)->Iterations(1);

}  // namespace

}  // namespace tolvander::benchmarks
