#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class MediaStagingErrorCase {
  // The video processor can't convert the video named by filename().
  unsupportedCharmeraVideo,

  // The folder for staged files is a link or not a folder, or a batch is outside it.
  invalidStagingLocation,

  // A camera file has changed since it was examined, or has another size than its directory entry says.
  sourceChanged,
};

// A batch that could not be staged. It has no text for the user: the import that staged the batch decides
// what to say.
class MediaStagingError final : public CaseError<MediaStagingErrorCase> {
 public:
  static MediaStagingError unsupportedCharmeraVideo(std::string filename) {
    return {Case::unsupportedCharmeraVideo, "a video of this camera can't be staged", std::move(filename)};
  }
  static MediaStagingError invalidStagingLocation() {
    return {Case::invalidStagingLocation, "staged files can't lie there", ""};
  }
  static MediaStagingError sourceChanged() {
    return {Case::sourceChanged, "the camera file has changed", ""};
  }

  const std::string& filename() const { return filename_; }

  std::string_view domain() const override { return "TolvanderCore.MediaStagingError"; }
  std::string_view caseName() const override {
    constexpr std::array<std::string_view, 3> texts{"unsupportedCharmeraVideo", "invalidStagingLocation",
                                                    "sourceChanged"};
    return texts.at(static_cast<std::size_t>(kind()));
  }

 private:
  MediaStagingError(Case kind, std::string_view diagnostic, std::string filename)
      : CaseError(kind, std::string(diagnostic)), filename_(std::move(filename)) {}

  std::string filename_;
};

}  // namespace tolvander
