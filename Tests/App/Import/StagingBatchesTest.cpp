#include "TolvanderApp/Import/StagingBatches.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;
using Files = std::vector<FingerprintedMediaFile>;

constexpr Date noon = std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + 12h;
constexpr std::int64_t mebibyte = 1024 * 1024;

FingerprintedMediaFile file(const std::string& path, std::optional<Date> captured = std::nullopt,
                            std::optional<Date> modified = std::nullopt) {
  return {.file = {.url = FileURL("/card/" + path),
                   .volumeURL = FileURL("/card"),
                   .relativePath = path,
                   .filename = path,
                   .byteCount = 1000,
                   .modifiedAt = modified},
          .sourceFingerprint = path,
          .mediaPayloadFingerprint = {},
          .captureDate = captured,
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

FingerprintedMediaFile ofSize(const std::string& path, std::int64_t bytes) {
  FingerprintedMediaFile sized = file(path);
  sized.file.byteCount = bytes;
  return sized;
}

Files numbered(int count) {
  Files files;
  for (int number = 1; number <= count; ++number) {
    files.push_back(file("PICT" + std::to_string(number)));
  }
  return files;
}

Names names(const Files& files) {
  Names result;
  for (const auto& entry : files) {
    result.push_back(entry.file.relativePath);
  }
  return result;
}

Names inOrder(const Files& files) { return names(app::inImportOrder(files)); }

std::vector<Names> batches(const Files& files) {
  std::vector<Names> result;
  for (const auto& batch : app::stagingBatches(files)) {
    result.push_back(names(batch));
  }
  return result;
}

std::vector<std::size_t> batchSizes(const Files& files) {
  std::vector<std::size_t> sizes;
  for (const auto& batch : app::stagingBatches(files)) {
    sizes.push_back(batch.size());
  }
  return sizes;
}

}  // namespace

// Order

TEST(StagingBatches, sortByCaptureDateBeforeTheDateOfTheFile) {
  EXPECT_EQ(inOrder({file("late", noon + 2h, noon - 9h), file("middle", {}, noon + 1h), file("early", noon)}),
            (Names{"early", "middle", "late"}));
}

TEST(StagingBatches, twoFilesWithEqualDatesSortByNaturalOrderOfTheirPaths) {
  EXPECT_EQ(inOrder({file("DCIM/PICT10.JPG", noon), file("DCIM/PICT2.JPG", noon)}),
            (Names{"DCIM/PICT2.JPG", "DCIM/PICT10.JPG"}));
}

TEST(StagingBatches, fileWithoutCaptureDateAndModificationDateSortsLast) {
  EXPECT_EQ(inOrder({file("A"), file("B", noon), file("C", {}, Date::max() - 1ns)}), (Names{"B", "C", "A"}));
}

TEST(StagingBatches, keepTheOrderOfFilesOfOneDateAndOnePath) {
  Files files{file("same", noon), file("same", noon)};
  files[0].sourceFingerprint = "first";
  files[1].sourceFingerprint = "second";
  const Files sorted = app::inImportOrder(files);
  EXPECT_EQ(sorted[0].sourceFingerprint, "first");
  EXPECT_EQ(sorted[1].sourceFingerprint, "second");
}

// Batches

TEST(StagingBatches, areNoneForNoFiles) { EXPECT_TRUE(app::stagingBatches({}).empty()); }

TEST(StagingBatches, fileOf70MiBFormsABatchAloneAndTheNextFileStartsANewBatch) {
  EXPECT_EQ(
      batches({ofSize("small", 1), ofSize("large", 70 * mebibyte), ofSize("next", 1), ofSize("last", 1)}),
      (std::vector<Names>{{"small"}, {"large"}, {"next", "last"}}));
}

TEST(StagingBatches, seventeenSmallFilesFormBatchesOfSixteenAndOne) {
  EXPECT_EQ(batchSizes(numbered(17)), (std::vector<std::size_t>{16, 1}));
  EXPECT_EQ(batchSizes(numbered(16)), (std::vector<std::size_t>{16}));
  EXPECT_EQ(batchSizes(numbered(33)), (std::vector<std::size_t>{16, 16, 1}));
}

TEST(StagingBatches, holdExactly64MiBAndNotOneByteMore) {
  EXPECT_EQ(batches({ofSize("A", 60 * mebibyte), ofSize("B", 4 * mebibyte)}),
            (std::vector<Names>{{"A", "B"}}));
  EXPECT_EQ(batches({ofSize("A", 60 * mebibyte), ofSize("B", 4 * mebibyte + 1)}),
            (std::vector<Names>{{"A"}, {"B"}}));
}

TEST(StagingBatches, takeFilesOfAnySize) {
  constexpr auto largest = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(batches({ofSize("A", largest), ofSize("B", largest), ofSize("C", 0)}),
            (std::vector<Names>{{"A"}, {"B"}, {"C"}}));
}

TEST(StagingBatches, holdAllFilesInTheirOrder) {
  Names all;
  for (const Names& batch : batches(numbered(40))) {
    all.insert(all.end(), batch.begin(), batch.end());
  }
  EXPECT_EQ(all, names(numbered(40)));
}

}  // namespace tolvander::tests
