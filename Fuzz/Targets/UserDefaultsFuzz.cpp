#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "Platform/Linux/Settings/UserDefaultsStore.h"
#include "TolvanderApp/LastSyncReceipt.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/JSON/DecodingError.h"

using namespace tolvander;
using namespace tolvander::platform::linux_;

namespace {

using Bytes = std::span<const std::byte>;

template <typename Decode>
auto decoded(Decode decode, Bytes json) -> std::optional<decltype(decode(json))> {
  try {
    return decode(json);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

Bytes bytesOf(const std::string& text) { return std::as_bytes(std::span(text)); }

}  // namespace

// Preferences that can be read come back from being stored the same. A receipt does once its date has been
// rounded by being stored.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes json = std::as_bytes(std::span(data, size));
  if (const auto values = decoded(decodeUserDefaults, json)) {
    precondition(decodeUserDefaults(bytesOf(encodeUserDefaults(*values))) == *values,
                 "preferences survive being stored");
  }
  if (const auto receipt = decoded(app::decodeLastSyncReceipt, json)) {
    const std::string stored = app::encodeLastSyncReceipt(*receipt);
    const auto restored = app::decodeLastSyncReceipt(bytesOf(stored));
    precondition(restored.count == receipt->count && restored.deviceName == receipt->deviceName &&
                     restored.videoCount == receipt->videoCount,
                 "a receipt survives being stored");
    precondition(app::encodeLastSyncReceipt(restored) == stored, "a stored date is not rounded again");
  }
  return 0;
}
