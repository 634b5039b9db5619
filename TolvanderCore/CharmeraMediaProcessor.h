#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/MediaProcessingPlan.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander {

// Decides what is done to a camera file before it is imported, and repairs the JPEGs of a Charmera.
//
// That camera's metadata is not reliable. A repair removes every Exif block and writes a new one of a fixed
// layout; the bytes of the picture itself are not changed. Everything here is a pure function of its
// arguments: the same file always gives the same bytes, which is needed to import it exactly once. Accesses
// no file. Safe on every thread.
class CharmeraMediaProcessor {
 public:
  CharmeraMediaProcessor() = delete;

  // Pictures of more bytes are not repaired, because input and output are in memory together. The camera's
  // own pictures have about 1 MB.
  static constexpr std::uint64_t maximumRepairBytes = std::uint64_t{256} << 20U;

  // Throws MediaProcessingError pictureTooLarge if `byteCount` exceeds maximumRepairBytes.
  static void requireRepairableSize(std::uint64_t byteCount);

  // What is done to a file with this extension. Its content doesn't matter.
  static MediaProcessingPlan::Action action(std::string_view fileExtension,
                                            bool confidentlyRecognizedAsCharmera);

  // The plan for a whole file in memory. Takes the bytes over, so that a file which isn't altered becomes the
  // plan's output without a copy; for a repair, input and output are in memory together until it returns. The
  // time it takes is that of its SHA-256 passes: one for an unaltered file, three for a repair.
  //
  // `fileExtension` is without a dot, in any case. Nothing but a file that is
  // `confidentlyRecognizedAsCharmera` is ever altered, whatever its extension. `sourceModificationDate`
  // replaces a missing capture date, as the local time in `timeZone`.
  //
  // Throws MediaProcessingError: malformedJPEG, missingImageDimensions, missingCaptureDate,
  // exifBlockTooLarge, and pictureTooLarge, all for a repair only; and CancellationError within 100 ms of a
  // cancellation.
  static MediaProcessingPlan plan(std::vector<std::byte> data, std::string_view fileExtension,
                                  bool confidentlyRecognizedAsCharmera,
                                  std::optional<Date> sourceModificationDate, const TimeZone& timeZone,
                                  const CancellationToken& token = {});

  // The same plan, but for its output, for a file of any size that was read in parts and has this
  // `sourceFingerprint`. Not for a picture to be repaired, which is a programming error.
  static MediaProcessingPlan planWithoutData(std::string sourceFingerprint, std::string_view fileExtension,
                                             bool confidentlyRecognizedAsCharmera,
                                             std::optional<Date> sourceModificationDate,
                                             const TimeZone& timeZone);

  // What the fingerprint of a JPEG's picture begins with. Those of earlier versions began otherwise and can't
  // be compared with it.
  static constexpr std::string_view jpegPayloadScheme = "jpeg-v2:";

  // The fingerprint of the bytes that make a JPEG's picture, which its metadata doesn't change: "jpeg-v2:"
  // and a SHA-256. Throws MediaProcessingError malformedJPEG, and CancellationError as above.
  static std::string jpegMediaPayloadFingerprint(std::span<const std::byte> data,
                                                 const CancellationToken& token = {});

  // Exif date text in its one proper form, "yyyy:MM:dd HH:mm:ss". White space and then NUL bytes at the ends
  // are taken off, and a colon between date and time is mended. Absent for absent text, for any other form,
  // and for a date or time of day that doesn't exist.
  static std::optional<std::string> normalizedExifDate(std::optional<std::string_view> text);

  // Whether the text has the form "yyyy:MM:dd HH:mm:ss" and names a day of the Gregorian calendar, from the
  // year 1 on, and a time of day without leap seconds.
  static bool isValidExifDate(std::string_view text);

  // The local time of `date` in `timeZone`, as Exif date text.
  static std::string fallbackDateString(Date date, const TimeZone& timeZone);

  // A whole APP1 segment with the camera's constants, the date in all three date fields, the pixel size and
  // the orientation (Exif 2.32). Of 270 bytes for a date of 19 characters. Throws MediaProcessingError
  // exifBlockTooLarge where it would exceed what a segment can hold.
  static std::vector<std::byte> minimalExifSegment(std::string_view captureDate, int width, int height,
                                                   std::uint16_t orientation);
};

}  // namespace tolvander
