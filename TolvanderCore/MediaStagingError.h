#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class MediaStagingErrorCase {
  unsupportedCharmeraVideo,  // of the file that filename() names
  invalidStagingLocation,    // a link or no folder where staged files should lie, or a batch that lies
                             // elsewhere
  sourceChanged,             // the camera file isn't what was examined, or has not the size that it said
};

// A batch that could not be staged. There are no words for the user; whoever staged decides what it means.
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
