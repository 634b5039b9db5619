#include "TolvanderCore/CharmeraVideoProcessingError.h"

#include <array>
#include <cstddef>

namespace tolvander {

namespace {

struct Texts {
  std::string_view name;
  std::string_view description;
};

// In the order of the cases.
constexpr std::array<Texts, 7> texts{{
    {"fixtureValidationRequired",
     "This video could not be converted on this Mac. The camera original is unchanged."},
    {"invalidVideo", "This video could not be read. The camera original is unchanged. Try Check Now again."},
    {"invalidDestination",
     "Tolvander could not prepare a temporary video copy. The camera original is unchanged. Try Check Now "
     "again."},
    {"nativeExportUnavailable",
     "This video could not be converted on this Mac. The camera original is unchanged."},
    {"exportFailed",
     "This video could not be prepared for Photos. The camera original is unchanged. Try Check Now again."},
    {"exportTimedOut",
     "Preparing this video took too long. The camera original is unchanged. Try Check Now again."},
    {"invalidExport",
     "This video could not be prepared for Photos. The camera original is unchanged. Try Check Now again."},
}};

}  // namespace

CharmeraVideoProcessingError::CharmeraVideoProcessingError(Case what)
    : CaseError(what,
                "video processing failed: " + std::string(texts.at(static_cast<std::size_t>(what)).name)) {}

std::string_view CharmeraVideoProcessingError::caseName() const {
  return texts.at(static_cast<std::size_t>(kind())).name;
}

std::optional<std::string> CharmeraVideoProcessingError::description() const {
  return std::string(texts.at(static_cast<std::size_t>(kind())).description);
}

}  // namespace tolvander
