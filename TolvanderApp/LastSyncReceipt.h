#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::app {

// The result of the last sync of a camera, also of one that imported nothing.
struct LastSyncReceipt {
  std::int64_t count = 0;  // items imported, videos among them
  std::string deviceName;
  Date completedAt;
  std::optional<std::int64_t> videoCount;  // absent in receipts of earlier versions

  friend bool operator==(const LastSyncReceipt&, const LastSyncReceipt&) = default;
};

// The stored form is a compact JSON object whose keys are the field names. "completedAt" is a number: seconds
// since 2001-01-01T00:00:00Z as a double, which is exact to about 100 nanoseconds for dates of this century.
// "videoCount" is left out when absent. Both functions may be called on any thread.
std::string encodeLastSyncReceipt(const LastSyncReceipt& receipt);

// Throws DecodingError when the text is not such an object or its date is outside of what Date can hold.
LastSyncReceipt decodeLastSyncReceipt(std::span<const std::byte> json);

}  // namespace tolvander::app
