#include "TolvanderApp/Import/StagingBatches.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>

#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

constexpr std::size_t maximumFiles = 16;
constexpr std::int64_t maximumBytes = 64 * 1024 * 1024;

Date importDate(const FingerprintedMediaFile& file) {
  return file.captureDate.value_or(file.file.modifiedAt.value_or(Date::max()));
}

}  // namespace

std::vector<FingerprintedMediaFile> inImportOrder(std::vector<FingerprintedMediaFile> files) {
  using Key = std::tuple<Date, std::string, std::size_t>;
  std::vector<Key> keys;
  for (std::size_t index = 0; index < files.size(); ++index) {
    keys.emplace_back(importDate(files[index]), standardSortKey(files[index].file.relativePath), index);
  }
  std::ranges::sort(keys);
  std::vector<FingerprintedMediaFile> sorted;
  sorted.reserve(files.size());
  for (const auto& key : keys) {
    sorted.push_back(std::move(files[std::get<2>(key)]));
  }
  return sorted;
}

std::vector<std::vector<FingerprintedMediaFile>> stagingBatches(
    const std::vector<FingerprintedMediaFile>& files) {
  std::vector<std::vector<FingerprintedMediaFile>> batches;
  std::int64_t bytes = 0;
  for (const auto& file : files) {
    // Compared this way round, so that no size can overflow the sum.
    if (batches.empty() || batches.back().size() == maximumFiles ||
        file.file.byteCount > maximumBytes - bytes) {
      batches.emplace_back();
      bytes = 0;
    }
    batches.back().push_back(file);
    bytes += std::min(file.file.byteCount, maximumBytes + 1);  // which leaves no room even for an empty file
  }
  return batches;
}

}  // namespace tolvander::app
