#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "Benchmarks/Measuring.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileReader.h"

namespace tolvander::benchmarks {

namespace {

constexpr std::size_t mebibyte = 1'048'576;
constexpr std::size_t fileSize = 1024 * mebibyte;

// A file of 1 GiB in the page cache, made once and removed at exit.
class LargeFile {
 public:
  LargeFile() : url_((std::filesystem::temp_directory_path() / "tolvander-benchmark-XXXXXX").string()) {
    std::string path = url_.path();
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) {
      throw std::runtime_error("no temporary file for the benchmark");
    }
    close(descriptor);
    url_ = FileURL(path);
    std::vector<char> block(mebibyte);
    for (std::size_t index = 0; index < block.size(); ++index) {
      block[index] = static_cast<char>(index * 31 + index / 4099);
    }
    std::ofstream stream(path, std::ios::binary);
    for (std::size_t written = 0; written < fileSize; written += block.size()) {
      stream.write(block.data(), static_cast<std::streamsize>(block.size()));
    }
    if (!stream.flush()) {
      throw std::runtime_error("no room for the benchmark's file");
    }
  }
  ~LargeFile() {
    std::error_code ignored;
    std::filesystem::remove(url_.path(), ignored);
  }
  LargeFile(const LargeFile&) = delete;
  LargeFile& operator=(const LargeFile&) = delete;

  const FileURL& url() const { return url_; }

 private:
  FileURL url_;
};

const FileURL& largeFile() {
  static const LargeFile file;
  return file.url();
}

void readPlainly(const FileURL& url) {
  FileReader reader(url);
  std::vector<std::byte> chunk(mebibyte);
  while (reader.read(chunk) > 0) {
    benchmark::DoNotOptimize(chunk.data());
  }
}

std::vector<std::byte> contents(const FileURL& url) {
  std::vector<std::byte> bytes(fileSize);
  FileReader(url).read(bytes);
  return bytes;
}

void hashInMemory(const std::vector<std::byte>& bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("OpenSSL computes no SHA-256");
  }
  benchmark::DoNotOptimize(digest);
}

void runSha256sum(const FileURL& url) {
  std::string name = "sha256sum";
  std::string path = url.path();
  std::array<char*, 3> arguments{name.data(), path.data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  int status = posix_spawnp(&child, name.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (status != 0 || waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error("sha256sum does not run");
  }
}

// Everything of one round is measured within seconds of each other, because a shared machine is faster and
// slower by the minute; the figures to look at are the ratios.
void fingerprintOfAGibibyte(benchmark::State& state) {
  const FileURL& url = largeFile();
  const std::vector<std::byte> bytes = contents(url);
  double read = 0;
  double inMemory = 0;
  double fingerprint = 0;
  double sha256sum = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    read += seconds([&] { readPlainly(url); });
    inMemory += seconds([&] { hashInMemory(bytes); });
    const double own = seconds([&] { FileFingerprinter::sha256(url); });
    fingerprint += own;
    sha256sum += seconds([&] { runSha256sum(url); });
    state.SetIterationTime(own);
  }
  using benchmark::Counter;
  state.counters["read_s"] = Counter(read, Counter::kAvgIterations);
  state.counters["openssl_in_memory_s"] = Counter(inMemory, Counter::kAvgIterations);
  state.counters["fingerprint_s"] = Counter(fingerprint, Counter::kAvgIterations);
  state.counters["sha256sum_s"] = Counter(sha256sum, Counter::kAvgIterations);
  state.counters["times_openssl"] = fingerprint / inMemory;
  state.counters["times_read_and_openssl"] = fingerprint / (read + inMemory);
  state.counters["faster_than_sha256sum"] = sha256sum / fingerprint;
}
BENCHMARK(fingerprintOfAGibibyte)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

// A photo of 900 kB and a sidecar of 4 kB: what opening the file and making the buffer add.
void fingerprintOfASmallFile(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  std::vector<std::byte> bytes = contents(largeFile());
  bytes.resize(size);
  const std::filesystem::path path = largeFile().path() + "-small";
  std::filesystem::copy_file(largeFile().path(), path);
  std::filesystem::resize_file(path, size);
  const FileURL url(path.string());
  double inMemory = 0;
  double fingerprint = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    inMemory += seconds([&] { hashInMemory(bytes); });
    const double own = seconds([&] { FileFingerprinter::sha256(url); });
    fingerprint += own;
    state.SetIterationTime(own);
  }
  std::filesystem::remove(path);
  state.counters["times_openssl"] = fingerprint / inMemory;
}
BENCHMARK(fingerprintOfASmallFile)
    ->ArgName("bytes")
    ->Arg(4'096)
    ->Arg(900'000)
    ->UseManualTime()
    ->Iterations(500)
    ->Unit(benchmark::kMicrosecond);

// What the size of a read costs, beside hashing the same bytes in memory.
void readAndHashInChunks(benchmark::State& state) {
  const FileURL& url = largeFile();
  const std::vector<std::byte> bytes = contents(url);
  double inMemory = 0;
  double inChunks = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    inMemory += seconds([&] { hashInMemory(bytes); });
    const double own = seconds([&] {
      FileReader reader(url);
      SHA256 hash;
      std::vector<std::byte> chunk(static_cast<std::size_t>(state.range(0)));
      while (const std::size_t count = reader.read(chunk)) {
        hash.update(std::span(chunk).first(count));
      }
      benchmark::DoNotOptimize(hash.finish());
    });
    inChunks += own;
    state.SetIterationTime(own);
  }
  state.counters["times_openssl"] = inChunks / inMemory;
}
BENCHMARK(readAndHashInChunks)
    ->ArgName("bytes")
    ->RangeMultiplier(2)
    ->Range(65'536, 1'048'576)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace tolvander::benchmarks
