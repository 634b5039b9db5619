#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/CaseError.h"
#include "TolvanderCore/Foundation/SystemDescribed.h"

namespace tolvander {

enum class CharmeraVideoProcessingErrorCase {
  fixtureValidationRequired,
  invalidVideo,
  invalidDestination,
  nativeExportUnavailable,
  exportFailed,
  exportTimedOut,
  invalidExport,
};

// Why a video could not be prepared, with the words for the user. Two pairs of cases share a text.
class CharmeraVideoProcessingError final : public CaseError<CharmeraVideoProcessingErrorCase>,
                                           public SystemDescribed {
 public:
  explicit CharmeraVideoProcessingError(Case what);

  std::string_view domain() const override { return "TolvanderCore.CharmeraVideoProcessingError"; }
  std::string_view caseName() const override;
  std::string describe(const SystemNames& names) const override;
};

}  // namespace tolvander
