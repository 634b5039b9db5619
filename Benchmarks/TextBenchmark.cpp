#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <compare>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderCore/Platform/Calendar.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::benchmarks {

namespace {

std::vector<std::string> pathsOfALargeCard() {
  std::vector<std::string> paths;
  for (int index = 0; index < 10'000; ++index) {
    paths.push_back("DCIM/" + std::to_string(100 + index / 1'000) + "MEDIA/PICT" +
                    std::to_string(10'000 + index % 1'000) + (index % 20 == 0 ? ".AVI" : ".JPG"));
  }
  std::shuffle(paths.begin(), paths.end(), std::mt19937(1));
  return paths;
}

double seconds(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Sorting 10,000 paths by comparison and by sort keys, beside sorting them by their bytes.
void sortOfALargeCard(benchmark::State& state) {
  const std::vector<std::string> paths = pathsOfALargeCard();
  benchmark::DoNotOptimize(standardCompare("a", "b"));  // loads the locale's rules
  double byBytes = 0;
  double byComparison = 0;
  double byKey = 0;
  for (auto unused : state) {
    static_cast<void>(unused);
    auto plain = paths;
    auto begin = std::chrono::steady_clock::now();
    std::stable_sort(plain.begin(), plain.end());
    byBytes += seconds(begin);

    auto compared = paths;
    begin = std::chrono::steady_clock::now();
    std::stable_sort(compared.begin(), compared.end(), [](const std::string& left, const std::string& right) {
      return std::is_lt(standardCompare(left, right));
    });
    byComparison += seconds(begin);

    auto keyed = paths;
    begin = std::chrono::steady_clock::now();
    std::vector<std::pair<std::string, std::string>> pairs;
    pairs.reserve(keyed.size());
    for (std::string& path : keyed) {
      pairs.emplace_back(standardSortKey(path), std::move(path));
    }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    byKey += seconds(begin);
    benchmark::DoNotOptimize(pairs.data());
  }
  using benchmark::Counter;
  state.counters["bytes_s"] = Counter(byBytes, Counter::kAvgIterations);
  state.counters["comparison_s"] = Counter(byComparison, Counter::kAvgIterations);
  state.counters["keys_s"] = Counter(byKey, Counter::kAvgIterations);
  state.counters["keys_faster_than_comparison"] = byComparison / byKey;
}
BENCHMARK(sortOfALargeCard)->Unit(benchmark::kMillisecond);

void writeExifDate(benchmark::State& state) {
  const TimeZone zone = TimeZone::named("Europe/Berlin").value();
  Date date = dateSince1970(1'700'000'000).value();
  for (auto unused : state) {
    static_cast<void>(unused);
    date += std::chrono::hours(1);
    benchmark::DoNotOptimize(exifDateText(date, zone));
  }
}
BENCHMARK(writeExifDate);

void readExifDate(benchmark::State& state) {
  const TimeZone zone = TimeZone::named("Europe/Berlin").value();
  for (auto unused : state) {
    static_cast<void>(unused);
    benchmark::DoNotOptimize(dateFromExifText("2026:11:15 19:13:17", zone));
  }
}
BENCHMARK(readExifDate);

void findCurrentTimeZone(benchmark::State& state) {
  for (auto unused : state) {
    static_cast<void>(unused);
    benchmark::DoNotOptimize(TimeZone::current());
  }
}
BENCHMARK(findCurrentTimeZone);

}  // namespace

}  // namespace tolvander::benchmarks
