#pragma once

#include <string>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// The system may not read a volume.
class MediaSourceError final : public Error {
 public:
  enum class Case { volumeAccessDenied };

  static MediaSourceError volumeAccessDenied(std::string volumeName);

  Case kind() const { return Case::volumeAccessDenied; }
  const std::string& volumeName() const { return volumeName_; }

  std::string_view domain() const override { return "TolvanderCore.MediaSourceError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind()); }
  std::optional<std::string> description() const override;

 private:
  explicit MediaSourceError(std::string volumeName);
  std::string volumeName_;
};

}  // namespace tolvander
