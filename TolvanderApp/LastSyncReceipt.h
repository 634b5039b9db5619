#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::app {

// What the last sync that imported something brought.
struct LastSyncReceipt {
  std::int64_t count = 0;  // items imported, videos among them
  std::string deviceName;
  Date completedAt;
  std::optional<std::int64_t> videoCount;  // absent in receipts of earlier versions

  friend bool operator==(const LastSyncReceipt&, const LastSyncReceipt&) = default;
};

// The stored form: a compact JSON object whose keys are the field names. The date is a number, the seconds
// since 2001-01-01T00:00:00Z with their fraction, as exact as a double has it (of our time, to about 100
// nanoseconds). "videoCount" is written only when present. Reading throws DecodingError; "videoCount" may be
// missing.
std::string encodeLastSyncReceipt(const LastSyncReceipt& receipt);
LastSyncReceipt decodeLastSyncReceipt(std::span<const std::byte> json);

}  // namespace tolvander::app
