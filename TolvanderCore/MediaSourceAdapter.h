#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/DetectedDevice.h"
#include "TolvanderCore/DeviceProfile.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// A source of camera media.
class MediaSourceAdapter {
 public:
  virtual ~MediaSourceAdapter() = default;

  virtual const std::string& adapterIdentifier() const = 0;

  // The camera at `volumeURL`, by the first of `profiles` that matches. Absent if none does.
  virtual std::optional<DetectedDevice> detect(const FileURL& volumeURL,
                                               const std::vector<DeviceProfile>& profiles,
                                               const CancellationToken& token) const = 0;
};

}  // namespace tolvander
