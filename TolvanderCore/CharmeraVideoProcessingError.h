#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// Why a video could not be prepared, with the words for the user. Two pairs of cases share a text.
class CharmeraVideoProcessingError final : public Error {
 public:
  enum class Case {
    fixtureValidationRequired,
    invalidVideo,
    invalidDestination,
    nativeExportUnavailable,
    exportFailed,
    exportTimedOut,
    invalidExport,
  };

  explicit CharmeraVideoProcessingError(Case what);

  Case kind() const { return case_; }
  std::string_view domain() const override { return "TolvanderCore.CharmeraVideoProcessingError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(case_); }
  std::string_view caseName() const override;
  std::optional<std::string> description() const override;

 private:
  Case case_;
};

}  // namespace tolvander
