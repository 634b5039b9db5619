#include "TolvanderApp/StatusReceipt.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tolvander::app {
namespace {

constexpr auto explanation =
    "Matched by filename, capture time and dimensions, plus duration for videos. Camera originals were kept.";

// "01.JPG" to so many, in descending order.
std::vector<std::string> namesDownFrom(int count) {
  std::vector<std::string> names;
  for (int number = count; number >= 1; --number) {
    names.push_back((number < 10 ? "0" : "") + std::to_string(number) + ".JPG");
  }
  return names;
}

std::string ascendingLines(int count) {
  std::string lines;
  for (int number = 1; number <= count; ++number) {
    lines += (number < 10 ? "0" : "") + std::to_string(number) + ".JPG\n";
  }
  return lines;
}

StatusReceipt receiptWithSkipped(std::vector<std::string> names) {
  StatusReceipt receipt;
  receipt.metadataSkippedCount = static_cast<std::int64_t>(names.size());
  receipt.metadataSkippedFiles = std::move(names);
  return receipt;
}

TEST(StatusReceipt, saysWhatBecameOfAnAlbum) {
  EXPECT_EQ(StatusReceipt::albumMessage(0), "Album up to date");
  EXPECT_EQ(StatusReceipt::albumMessage(1), "1 item added to album");
  EXPECT_EQ(StatusReceipt::albumMessage(2), "2 items added to album");
  EXPECT_EQ(StatusReceipt::albumMessage(1200), "1200 items added to album");
}

TEST(StatusReceipt, hasNoHelpWhereNothingWasSkipped) {
  StatusReceipt receipt;
  EXPECT_EQ(receipt.duplicateHelp(), std::nullopt);
  receipt.metadataSkippedFiles = {"A.JPG"};
  EXPECT_EQ(receipt.duplicateHelp(), std::nullopt);
  receipt.metadataSkippedCount = -1;
  EXPECT_EQ(receipt.duplicateHelp(), std::nullopt);
}

TEST(StatusReceipt, explainsSkippedFilesWithoutNames) {
  StatusReceipt receipt;
  receipt.metadataSkippedCount = 3;
  EXPECT_EQ(receipt.duplicateHelp(), explanation);
}

TEST(StatusReceipt, namesSkippedFilesInAscendingOrder) {
  EXPECT_EQ(receiptWithSkipped({"B.JPG", "C.AVI", "A.JPG"}).duplicateHelp(),
            std::string("Likely already in Photos:\nA.JPG\nB.JPG\nC.AVI\n\n") + explanation);
}

TEST(StatusReceipt, namesExactly20SkippedFilesWithoutAMoreLine) {
  EXPECT_EQ(receiptWithSkipped(namesDownFrom(20)).duplicateHelp(),
            "Likely already in Photos:\n" + ascendingLines(20) + "\n" + explanation);
}

TEST(StatusReceipt, counts1MoreOf21SkippedFiles) {
  EXPECT_EQ(receiptWithSkipped(namesDownFrom(21)).duplicateHelp(),
            "Likely already in Photos:\n" + ascendingLines(20) + "…and 1 more\n\n" + explanation);
}

TEST(StatusReceipt, countsAllThatItDoesNotName) {
  EXPECT_EQ(receiptWithSkipped(namesDownFrom(62)).duplicateHelp(),
            "Likely already in Photos:\n" + ascendingLines(20) + "…and 42 more\n\n" + explanation);
}

TEST(StatusReceipt, isEqualInAllItsFieldsOnly) {
  const StatusReceipt receipt{.message = "1 photo synced",
                              .completedAt = Date(std::chrono::seconds(5)),
                              .metadataSkippedCount = 1,
                              .metadataSkippedFiles = {"A.JPG"},
                              .minimumDisplayDuration = StatusReceipt::whileMounted,
                              .id = UUID::random()};
  EXPECT_EQ(receipt, StatusReceipt(receipt));
  StatusReceipt other = receipt;
  other.message = "2 photos synced";
  EXPECT_NE(receipt, other);
  other = receipt;
  other.completedAt += std::chrono::nanoseconds(1);
  EXPECT_NE(receipt, other);
  other = receipt;
  other.metadataSkippedCount = 2;
  EXPECT_NE(receipt, other);
  other = receipt;
  other.metadataSkippedFiles = {};
  EXPECT_NE(receipt, other);
  other = receipt;
  other.minimumDisplayDuration = StatusReceipt::afterEject;
  EXPECT_NE(receipt, other);
  other = receipt;
  other.id = UUID::random();
  EXPECT_NE(receipt, other);
}

}  // namespace
}  // namespace tolvander::app
