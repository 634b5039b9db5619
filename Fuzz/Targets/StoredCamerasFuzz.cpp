#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "TolvanderCore/DeviceProfileCoding.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/JSON/DecodingError.h"

using namespace tolvander;

namespace {

using Bytes = std::span<const std::byte>;

// What can be read comes back from being stored the same.
template <typename Decode, typename Encode>
void checkThatItSurvives(Bytes json, Decode decode, Encode encode) {
  decltype(decode(json)) values;
  try {
    values = decode(json);
  } catch (const DecodingError&) {
    return;
  }
  const std::string text = encode(values);
  precondition(decode(std::as_bytes(std::span(text))) == values, "stored cameras survive being stored");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes json = std::as_bytes(std::span(data, size));
  checkThatItSurvives(json, decodeDeviceProfiles, encodeDeviceProfiles);
  checkThatItSurvives(json, decodeCameraAccessGrants, encodeCameraAccessGrants);
  return 0;
}
