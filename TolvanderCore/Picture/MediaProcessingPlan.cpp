#include "TolvanderCore/MediaProcessingPlan.h"

#include <array>

namespace tolvander {

std::string_view text(MediaProcessingPlan::Action action) {
  constexpr std::array<std::string_view, 4> texts{"passthrough", "repairJPEG", "unsupportedCharmeraVideo",
                                                  "transcodeCharmeraVideo"};
  return texts.at(static_cast<std::size_t>(action));
}

std::string_view text(MediaProcessingPlan::CaptureDateSource source) {
  constexpr std::array<std::string_view, 4> texts{"embeddedOriginal", "embeddedDigitized", "embeddedModified",
                                                  "fileModificationTime"};
  return texts.at(static_cast<std::size_t>(source));
}

}  // namespace tolvander
