#include "TolvanderCore/CharmeraVideoProcessingError.h"

#include <array>
#include <cstddef>

#include "TolvanderCore/SystemNames.h"

namespace tolvander {

namespace {

// In the order of the cases.
constexpr std::array<std::string_view, 7> caseNames{"fixtureValidationRequired",
                                                    "invalidVideo",
                                                    "invalidDestination",
                                                    "nativeExportUnavailable",
                                                    "exportFailed",
                                                    "exportTimedOut",
                                                    "invalidExport"};

}  // namespace

CharmeraVideoProcessingError::CharmeraVideoProcessingError(Case what)
    : CaseError(what,
                "video processing failed: " + std::string(caseNames.at(static_cast<std::size_t>(what)))) {}

std::string_view CharmeraVideoProcessingError::caseName() const {
  return caseNames.at(static_cast<std::size_t>(kind()));
}

std::string CharmeraVideoProcessingError::describe(const SystemNames& names) const {
  switch (kind()) {
    case Case::fixtureValidationRequired:
    case Case::nativeExportUnavailable:
      return "This video could not be converted on " + names.computer + ". The camera original is unchanged.";
    case Case::invalidVideo:
      return "This video could not be read. The camera original is unchanged. Try Check Now again.";
    case Case::invalidDestination:
      return "Tolvander could not prepare a temporary video copy. The camera original is unchanged. Try "
             "Check Now again.";
    case Case::exportTimedOut:
      return "Preparing this video took too long. The camera original is unchanged. Try Check Now again.";
    case Case::exportFailed:
    case Case::invalidExport:
      break;
  }
  return "This video could not be prepared for Photos. The camera original is unchanged. Try Check Now "
         "again.";
}

}  // namespace tolvander
