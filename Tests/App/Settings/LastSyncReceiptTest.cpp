#include "TolvanderApp/LastSyncReceipt.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "Samples/Bytes.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/DecodingError.h"

namespace tolvander::tests {

using app::decodeLastSyncReceipt;
using app::encodeLastSyncReceipt;
using app::LastSyncReceipt;

namespace {

Date date(std::string_view text) { return dateFromISO8601(text).value(); }

LastSyncReceipt receiptOf(Date completedAt) { return {12, "Charmera", completedAt, 3}; }

LastSyncReceipt decoded(std::string_view json) { return decodeLastSyncReceipt(bytesOf(json)); }

std::string withDate(std::string_view number) {
  return R"({"count":1,"deviceName":"A","completedAt":)" + std::string(number) + "}";
}

}  // namespace

TEST(LastSyncReceipt, countsItsDateFrom2001) {
  EXPECT_EQ(encodeLastSyncReceipt(receiptOf(date("2001-01-01T00:00:00Z"))),
            R"({"count":12,"deviceName":"Charmera","completedAt":0,"videoCount":3})");
  EXPECT_EQ(encodeLastSyncReceipt(receiptOf(date("2001-01-01T00:00:01Z") + std::chrono::milliseconds(250))),
            R"({"count":12,"deviceName":"Charmera","completedAt":1.25,"videoCount":3})");
  EXPECT_EQ(encodeLastSyncReceipt(receiptOf(date("2026-11-15T19:13:17Z"))),
            R"({"count":12,"deviceName":"Charmera","completedAt":816462797,"videoCount":3})");
}

TEST(LastSyncReceipt, leavesAnAbsentVideoCountOut) {
  const LastSyncReceipt receipt{1, "A \"card\"", date("2001-01-01T00:00:00Z"), std::nullopt};
  EXPECT_EQ(encodeLastSyncReceipt(receipt), R"({"count":1,"deviceName":"A \"card\"","completedAt":0})");
  EXPECT_EQ(decoded(encodeLastSyncReceipt(receipt)), receipt);
}

TEST(LastSyncReceipt, readsOneWithoutVideoCount) {
  const LastSyncReceipt receipt = decoded(R"({"count":7,"deviceName":"Card","completedAt":816462797.5})");
  EXPECT_EQ(receipt.count, 7);
  EXPECT_EQ(receipt.deviceName, "Card");
  EXPECT_EQ(receipt.completedAt, date("2026-11-15T19:13:17Z") + std::chrono::milliseconds(500));
  EXPECT_FALSE(receipt.videoCount);
  EXPECT_FALSE(decoded(R"({"count":7,"deviceName":"","completedAt":0,"videoCount":null})").videoCount);
}

TEST(LastSyncReceipt, survivesBeingStored) {
  for (const char* text : {"1999-12-31T23:59:59Z", "2001-01-01T00:00:00Z", "2026-11-15T19:13:17Z",
                           "1970-01-01T00:00:00Z", "1700-01-01T00:00:00Z", "2262-01-01T00:00:00Z"}) {
    EXPECT_EQ(decoded(encodeLastSyncReceipt(receiptOf(date(text)))), receiptOf(date(text))) << text;
  }
  const Date precise = date("2026-11-15T19:13:17Z") + std::chrono::nanoseconds(123'456'789);
  const auto error = decoded(encodeLastSyncReceipt(receiptOf(precise))).completedAt - precise;
  EXPECT_LT(std::abs(error.count()), 100);
}

TEST(LastSyncReceipt, carriesAFractionThatRoundsToAWholeSecond) {
  EXPECT_EQ(decoded(withDate("4.9999999999")).completedAt, date("2001-01-01T00:00:05Z"));
  EXPECT_EQ(decoded(withDate("-0.0000000001")).completedAt, date("2001-01-01T00:00:00Z"));
}

TEST(LastSyncReceipt, failsForADateOutOfReach) {
  for (const char* number :
       {"1e10", "-2e10", "9e15", "1e300", "-1e300", "1e400", "99999999999999999999999"}) {
    EXPECT_THROW(decoded(withDate(number)), DecodingError) << number;
  }
}

TEST(LastSyncReceipt, failsForMissingKeysAndWrongTypes) {
  for (const char* json :
       {"", "[]", "null", R"({"deviceName":"A","completedAt":0})", R"({"count":1,"completedAt":0})",
        R"({"count":1,"deviceName":"A"})", R"({"count":"1","deviceName":"A","completedAt":0})",
        R"({"count":1.5,"deviceName":"A","completedAt":0})", R"({"count":1,"deviceName":1,"completedAt":0})",
        R"({"count":1,"deviceName":"A","completedAt":"2026-11-15T19:13:17Z"})",
        R"({"count":1,"deviceName":"A","completedAt":null})",
        R"({"count":1,"deviceName":"A","completedAt":0,"videoCount":"2"})"}) {
    EXPECT_THROW(decoded(json), DecodingError) << json;
  }
}

}  // namespace tolvander::tests
