#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {

// What is done to one camera file before it is imported, with all fingerprints that the import needs.
//
// The plan owns its output bytes. For an unaltered file they are the planned bytes, moved and not copied.
// Copying a plan copies them, so plans should be moved.
struct MediaProcessingPlan {
  enum class Action {
    passthrough,               // import the bytes as they are
    repairJPEG,                // import the bytes of outputData, a JPEG with a new Exif block
    unsupportedCharmeraVideo,  // refuse the file; never planned today
    transcodeCharmeraVideo,    // rewrap the video; the plan has done no work on it
  };

  enum class CaptureDateSource {
    embeddedOriginal,
    embeddedDigitized,
    embeddedModified,
    fileModificationTime
  };

  Action action = Action::passthrough;

  // The version of the processing that makes what is imported: 1 for a repaired JPEG, 2 for a rewrapped
  // video. Absent where the file isn't altered.
  std::optional<int> processorVersion = std::nullopt;

  // What to import. Absent for a video that is still to be rewrapped, and in a plan that was made without the
  // file's bytes.
  std::optional<std::vector<std::byte>> outputData = std::nullopt;

  // SHA-256 of all bytes that were planned.
  std::string sourceFingerprint = {};

  // "jpeg-v2:" and the SHA-256 of the bytes that make the picture. Repaired JPEGs only.
  std::optional<std::string> mediaPayloadFingerprint = std::nullopt;

  // SHA-256 of what to import. Absent for a video that is still to be rewrapped.
  std::optional<std::string> processedFingerprint = std::nullopt;

  // Exif date text, always in the form "yyyy:MM:dd HH:mm:ss", and where it was found.
  std::optional<std::string> captureDate = std::nullopt;
  std::optional<CaptureDateSource> captureDateSource = std::nullopt;

  // From the JPEG's frame header, and the orientation in the new Exif block (1 to 8). Repaired JPEGs only.
  std::optional<int> pixelWidth = std::nullopt;
  std::optional<int> pixelHeight = std::nullopt;
  std::optional<std::uint16_t> orientation = std::nullopt;

  friend bool operator==(const MediaProcessingPlan&, const MediaProcessingPlan&) = default;
};

// The names of the cases as text.
std::string_view text(MediaProcessingPlan::Action action);
std::string_view text(MediaProcessingPlan::CaptureDateSource source);

}  // namespace tolvander
