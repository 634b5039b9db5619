#include "TolvanderApp/LastSyncReceipt.h"

#include <chrono>
#include <cmath>

#include "TolvanderCore/JSON/DecodingError.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::app {

namespace {

constexpr std::int64_t referenceDate = 978'307'200;  // 2001-01-01T00:00:00Z, in seconds since 1970
constexpr double nanosecondsPerSecond = 1e9;

double secondsSinceReferenceDate(Date date) {
  using namespace std::chrono;
  const auto second = floor<seconds>(date);
  return static_cast<double>(second.time_since_epoch().count() - referenceDate) +
         static_cast<double>((date - second).count()) / nanosecondsPerSecond;
}

// Absent when it is outside of what Date can hold.
std::optional<Date> dateSinceReferenceDate(double seconds) {
  constexpr double outOfReach = 1e11;
  if (std::abs(seconds) > outOfReach) {
    return std::nullopt;
  }
  const double second = std::floor(seconds);
  const auto nanoseconds = std::llround((seconds - second) * nanosecondsPerSecond);
  const bool isNextSecond = nanoseconds == std::llround(nanosecondsPerSecond);
  return dateSince1970(static_cast<std::int64_t>(second) + referenceDate + (isNextSecond ? 1 : 0),
                       isNextSecond ? 0 : nanoseconds);
}

}  // namespace

std::string encodeLastSyncReceipt(const LastSyncReceipt& receipt) {
  return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) {
    writer.beginObject();
    writer.integer("count", receipt.count);
    writer.string("deviceName", receipt.deviceName);
    writer.number("completedAt", secondsSinceReferenceDate(receipt.completedAt));
    if (receipt.videoCount) {
      writer.integer("videoCount", *receipt.videoCount);
    }
    writer.endObject();
  });
}

LastSyncReceipt decodeLastSyncReceipt(std::span<const std::byte> json) {
  const JSONDocument document(json);
  const JSONObject object = document.root().object();
  LastSyncReceipt receipt;
  receipt.count = object.required("count").integer();
  receipt.deviceName = object.required("deviceName").string();
  const auto completedAt = dateSinceReferenceDate(object.required("completedAt").number());
  if (!completedAt) {
    throw DecodingError(DecodingError::Case::dataCorrupted, "completedAt", "not an instant that can be told");
  }
  receipt.completedAt = *completedAt;
  receipt.videoCount = object.optionalInteger("videoCount");
  return receipt;
}

}  // namespace tolvander::app
