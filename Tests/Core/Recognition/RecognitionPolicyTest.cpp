#include "TolvanderCore/RecognitionPolicy.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvander {
namespace {

using namespace std::chrono_literals;

Date at(std::chrono::nanoseconds time) { return Date(1'750'000'000s + time); }

FingerprintedMediaFile fileOf(std::optional<Date> captured, std::optional<Date> modified) {
  return {.file = {.url = FileURL("/card/DCIM/PICT0001.JPG"),
                   .volumeURL = FileURL("/card"),
                   .relativePath = "DCIM/PICT0001.JPG",
                   .filename = "PICT0001.JPG",
                   .modifiedAt = modified},
          .sourceFingerprint = "source",
          .mediaPayloadFingerprint = {},
          .captureDate = captured,
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

TEST(RecognitionPolicy, automaticHasItsBounds) {
  const RecognitionPolicy policy = RecognitionPolicy::automatic;
  EXPECT_EQ(policy.maximumResources, 256);
  EXPECT_EQ(policy.maximumBytes, std::int64_t{512} * 1024 * 1024);
  EXPECT_EQ(policy.maximumCandidates, 2'000);
  EXPECT_EQ(policy.nearbyCandidatesPerFile, 256);
  EXPECT_EQ(policy.recentCandidateLimit, 1'000);
  EXPECT_FALSE(policy.allowsNetwork);
  EXPECT_EQ(policy.resourceTimeout, 15s);
  EXPECT_EQ(policy.passTimeout, 60s);
}

TEST(RecognitionPolicy, broaderHasItsBounds) {
  const RecognitionPolicy policy = RecognitionPolicy::broader;
  EXPECT_EQ(policy.maximumResources, 1'024);
  EXPECT_EQ(policy.maximumBytes, std::int64_t{2} * 1024 * 1024 * 1024);
  EXPECT_EQ(policy.maximumCandidates, 5'000);
  EXPECT_EQ(policy.nearbyCandidatesPerFile, 1'024);
  EXPECT_EQ(policy.recentCandidateLimit, 3'000);
  EXPECT_FALSE(policy.allowsNetwork);
  EXPECT_EQ(policy.resourceTimeout, 30s);
  EXPECT_EQ(policy.passTimeout, 120s);
}

struct Scaling {
  RecognitionPolicy policy;
  std::int64_t files;
  std::int64_t reads;
};

class RecognitionPolicyScaling : public testing::TestWithParam<Scaling> {};

TEST_P(RecognitionPolicyScaling, raisesReadsAndNeighboursWithTheNumberOfFiles) {
  RecognitionPolicy expected = GetParam().policy;
  expected.maximumResources = GetParam().reads;
  expected.nearbyCandidatesPerFile = GetParam().reads;
  EXPECT_EQ(GetParam().policy.scaled(GetParam().files), expected);
}

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

INSTANTIATE_TEST_SUITE_P(
    counts, RecognitionPolicyScaling,
    testing::Values(
        Scaling{RecognitionPolicy::automatic, least, 256}, Scaling{RecognitionPolicy::automatic, -1, 256},
        Scaling{RecognitionPolicy::automatic, 0, 256}, Scaling{RecognitionPolicy::automatic, 100, 256},
        Scaling{RecognitionPolicy::automatic, 128, 256}, Scaling{RecognitionPolicy::automatic, 129, 258},
        Scaling{RecognitionPolicy::automatic, 500, 1'000},
        Scaling{RecognitionPolicy::automatic, 2'047, 4'094},
        Scaling{RecognitionPolicy::automatic, 2'048, 4'096},
        Scaling{RecognitionPolicy::automatic, 5'000, 4'096},
        Scaling{RecognitionPolicy::automatic, most, 4'096}, Scaling{RecognitionPolicy::broader, 0, 1'024},
        Scaling{RecognitionPolicy::broader, 256, 1'024}, Scaling{RecognitionPolicy::broader, 257, 1'028},
        Scaling{RecognitionPolicy::broader, 5'000, 8'192}, Scaling{RecognitionPolicy::broader, most, 8'192}));

TEST(RecognitionPolicy, scalesByFourOnlyAboveTheRecentLimitOfAutomatic) {
  RecognitionPolicy policy = RecognitionPolicy::automatic;
  policy.recentCandidateLimit = 1'001;
  EXPECT_EQ(policy.scaled(1'000).maximumResources, 4'000);
  policy.recentCandidateLimit = 1'000;
  EXPECT_EQ(policy.scaled(1'000).maximumResources, 2'000);
}

TEST(RecognitionPolicy, scalingKeepsMoreNeighboursThanReads) {
  RecognitionPolicy policy = RecognitionPolicy::automatic;
  policy.nearbyCandidatesPerFile = 9'000;
  EXPECT_EQ(policy.scaled(500).maximumResources, 1'000);
  EXPECT_EQ(policy.scaled(500).nearbyCandidatesPerFile, 9'000);
}

TEST(RecognitionPolicy, scalingNeverAllowsTheNetwork) {
  RecognitionPolicy policy = RecognitionPolicy::automatic;
  policy.allowsNetwork = true;
  EXPECT_FALSE(policy.scaled(1).allowsNetwork);
}

TEST(RecognitionPolicy, searchDatesAreAscendingAndEachOnce) {
  using Dates = std::vector<Date>;
  EXPECT_EQ(RecognitionPolicy::searchDates(fileOf({}, {})), Dates());
  EXPECT_EQ(RecognitionPolicy::searchDates(fileOf(at(5s), {})), Dates({at(5s)}));
  EXPECT_EQ(RecognitionPolicy::searchDates(fileOf({}, at(5s))), Dates({at(5s)}));
  EXPECT_EQ(RecognitionPolicy::searchDates(fileOf(at(5s), at(5s))), Dates({at(5s)}));
  EXPECT_EQ(RecognitionPolicy::searchDates(fileOf(at(5s), at(5s + 1ns))), Dates({at(5s), at(5s + 1ns)}));
  EXPECT_EQ(RecognitionPolicy::searchDates(fileOf(at(9s), at(5s))), Dates({at(5s), at(9s)}));
}

TEST(RecognitionPolicy, distanceIsThatToTheNearestDateInSeconds) {
  EXPECT_EQ(RecognitionPolicy::distance(at(0s), fileOf({}, {})), std::nullopt);
  EXPECT_EQ(RecognitionPolicy::distance(at(0s), fileOf(at(4s), {})), 4.0);
  EXPECT_EQ(RecognitionPolicy::distance(at(8s), fileOf(at(4s), {})), 4.0);
  EXPECT_EQ(RecognitionPolicy::distance(at(4s), fileOf(at(4s), at(90s))), 0.0);
  EXPECT_EQ(RecognitionPolicy::distance(at(87'500ms), fileOf(at(4s), at(90s))), 2.5);
  EXPECT_EQ(RecognitionPolicy::distance(at(50s), fileOf(at(90s), at(4s))), 40.0);
}

TEST(RecognitionPolicy, distanceTellsANanosecondBeyondThreeDays) {
  const double span = std::chrono::duration<double>(RecognitionPolicy::searchSpan).count();
  EXPECT_EQ(span, 259'200.0);
  EXPECT_EQ(RecognitionPolicy::distance(at(-259'200s), fileOf(at(0s), {})), span);
  EXPECT_GT(*RecognitionPolicy::distance(at(-259'200s - 1ns), fileOf(at(0s), {})), span);
}

TEST(RecognitionPolicy, distanceReachesFromTheFirstDateToTheLast) {
  const double all = 18'446'744'073.709551615;
  EXPECT_DOUBLE_EQ(*RecognitionPolicy::distance(Date::min(), fileOf(Date::max(), {})), all);
  EXPECT_DOUBLE_EQ(*RecognitionPolicy::distance(Date::max(), fileOf(Date::min(), {})), all);
}

}  // namespace
}  // namespace tolvander
