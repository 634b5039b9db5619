#pragma once

#include <string>

#include "TolvanderCore/Foundation/CaseError.h"
#include "TolvanderCore/Foundation/SystemDescribed.h"

namespace tolvander {

enum class MediaSourceErrorCase { volumeAccessDenied };

// This program has no permission to read a volume.
class MediaSourceError final : public CaseError<MediaSourceErrorCase>, public SystemDescribed {
 public:
  static MediaSourceError volumeAccessDenied(std::string volumeName);

  const std::string& volumeName() const { return volumeName_; }

  std::string_view domain() const override { return "TolvanderCore.MediaSourceError"; }
  std::string describe(const SystemNames& names) const override;

 private:
  explicit MediaSourceError(std::string volumeName);
  std::string volumeName_;
};

}  // namespace tolvander
