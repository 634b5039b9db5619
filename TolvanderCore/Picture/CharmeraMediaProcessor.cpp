#include "TolvanderCore/CharmeraMediaProcessor.h"

#include <algorithm>
#include <array>
#include <utility>

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/Endian.h"
#include "TolvanderCore/Foundation/LocalDateTime.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/MediaKind.h"
#include "TolvanderCore/Picture/JPEGLayout.h"
#include "TolvanderCore/Picture/TIFF.h"
#include "TolvanderCore/Picture/TIFFWriter.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander {

namespace {

using Action = MediaProcessingPlan::Action;
using CaptureDateSource = MediaProcessingPlan::CaptureDateSource;
using Case = MediaProcessingError::Case;

namespace tag = tiff::tag;

constexpr int jpegRepairVersion = 1;
constexpr int videoVersion = 2;
constexpr std::uint16_t uprightOrientation = 1;

MediaProcessingPlan passthroughPlan(std::string sourceFingerprint) {
  MediaProcessingPlan plan;
  plan.action = Action::passthrough;
  plan.processedFingerprint = sourceFingerprint;
  plan.sourceFingerprint = std::move(sourceFingerprint);
  return plan;
}

MediaProcessingPlan transcodePlan(std::string sourceFingerprint, std::optional<Date> modificationDate,
                                  const TimeZone& timeZone) {
  MediaProcessingPlan plan;
  plan.action = Action::transcodeCharmeraVideo;
  plan.processorVersion = videoVersion;
  plan.sourceFingerprint = std::move(sourceFingerprint);
  if (modificationDate) {
    plan.captureDate = CharmeraMediaProcessor::fallbackDateString(*modificationDate, timeZone);
    plan.captureDateSource = CaptureDateSource::fileModificationTime;
  }
  return plan;
}

struct CaptureDate {
  std::string text;
  CaptureDateSource source;
};

CaptureDate chooseCaptureDate(const ExifMetadata& metadata, std::optional<Date> modificationDate,
                              const TimeZone& timeZone) {
  const std::array<std::pair<const std::optional<std::string>&, CaptureDateSource>, 3> embedded{{
      {metadata.originalDate, CaptureDateSource::embeddedOriginal},
      {metadata.digitizedDate, CaptureDateSource::embeddedDigitized},
      {metadata.modifiedDate, CaptureDateSource::embeddedModified},
  }};
  for (const auto& [text, source] : embedded) {
    if (auto date = CharmeraMediaProcessor::normalizedExifDate(text)) {
      return {.text = *std::move(date), .source = source};
    }
  }
  if (modificationDate) {
    return {.text = CharmeraMediaProcessor::fallbackDateString(*modificationDate, timeZone),
            .source = CaptureDateSource::fileModificationTime};
  }
  throw MediaProcessingError(Case::missingCaptureDate);
}

std::uint16_t usableOrientation(std::optional<std::uint16_t> orientation) {
  return orientation && *orientation >= 1 && *orientation <= 8 ? *orientation : uprightOrientation;
}

MediaProcessingPlan repairPlan(std::string sourceFingerprint, std::span<const std::byte> data,
                               std::optional<Date> modificationDate, const TimeZone& timeZone,
                               const CancellationToken& token) {
  const JPEGLayout layout = JPEGLayout::parse(data, token);
  if (layout.width.value_or(0) < 1 || layout.height.value_or(0) < 1) {
    throw MediaProcessingError(Case::missingImageDimensions);
  }
  CaptureDate captureDate = chooseCaptureDate(layout.exifMetadata, modificationDate, timeZone);
  const std::uint16_t orientation = usableOrientation(layout.exifMetadata.orientation);
  const std::vector<std::byte> segment = CharmeraMediaProcessor::minimalExifSegment(
      captureDate.text, *layout.width, *layout.height, orientation);

  MediaProcessingPlan plan;
  plan.action = Action::repairJPEG;
  plan.processorVersion = jpegRepairVersion;
  plan.outputData = layout.replacingExif(data, segment, token);
  plan.sourceFingerprint = std::move(sourceFingerprint);
  plan.mediaPayloadFingerprint = layout.mediaFingerprint(data, token);
  plan.processedFingerprint = FileFingerprinter::sha256(*plan.outputData, token);
  plan.captureDate = std::move(captureDate.text);
  plan.captureDateSource = captureDate.source;
  plan.pixelWidth = layout.width;
  plan.pixelHeight = layout.height;
  plan.orientation = orientation;
  return plan;
}

// The form of Exif date text (Exif 2.32, 4.6.5, DateTimeOriginal).
constexpr std::string_view dateForm = "0000:00:00 00:00:00";
constexpr std::size_t placeBetweenDateAndTime = 10;

std::string_view trimmingNULs(std::string_view text) {
  while (text.starts_with('\0')) {
    text.remove_prefix(1);
  }
  while (text.ends_with('\0')) {
    text.remove_suffix(1);
  }
  return text;
}

// The fields are defined in Exif 2.32: those of the first directory in section 4.6.4, the others in 4.6.5.
TIFFWriter minimalExifBlock(std::string_view captureDate, int width, int height, std::uint16_t orientation) {
  const std::array exifFields{
      TIFFField::rational(tag::fNumber, 24, 10),
      TIFFField::ascii(tag::dateTimeOriginal, captureDate),
      TIFFField::ascii(tag::dateTimeDigitized, captureDate),
      TIFFField::longInteger(tag::pixelXDimension, static_cast<std::uint32_t>(width)),
      TIFFField::longInteger(tag::pixelYDimension, static_cast<std::uint32_t>(height)),
      TIFFField::shortInteger(tag::focalLengthIn35mmFilm, 35),
      TIFFField::ascii(tag::lensModel, "35mm f/2.4"),
  };
  std::array firstFields{
      TIFFField::ascii(tag::make, "KODAK"),
      TIFFField::ascii(tag::model, "Charmera"),
      TIFFField::shortInteger(tag::orientation, orientation),
      TIFFField::ascii(tag::dateTime, captureDate),
      TIFFField::longInteger(tag::exifDirectory, 0),
  };
  const std::size_t exifOffset = tiff::headerSize + TIFFWriter::directorySize(firstFields);
  firstFields.back() = TIFFField::longInteger(tag::exifDirectory, static_cast<std::uint32_t>(exifOffset));

  TIFFWriter block;
  block.appendDirectory(firstFields);
  block.appendDirectory(exifFields);
  return block;
}

}  // namespace

void CharmeraMediaProcessor::requireRepairableSize(std::uint64_t byteCount) {
  if (byteCount > maximumRepairBytes) {
    throw MediaProcessingError(Case::pictureTooLarge);
  }
}

Action CharmeraMediaProcessor::action(std::string_view fileExtension, bool confidentlyRecognizedAsCharmera) {
  if (!confidentlyRecognizedAsCharmera) {
    return Action::passthrough;
  }
  switch (fileTypeOfExtension(fileExtension)) {
    case FileType::avi:
      return Action::transcodeCharmeraVideo;
    case FileType::jpeg:
      return Action::repairJPEG;
    default:
      return Action::passthrough;
  }
}

MediaProcessingPlan CharmeraMediaProcessor::plan(std::vector<std::byte> data, std::string_view fileExtension,
                                                 bool confidentlyRecognizedAsCharmera,
                                                 std::optional<Date> sourceModificationDate,
                                                 const TimeZone& timeZone, const CancellationToken& token) {
  const bool isRepair = action(fileExtension, confidentlyRecognizedAsCharmera) == Action::repairJPEG;
  if (isRepair) {
    requireRepairableSize(data.size());
  }
  std::string sourceFingerprint = FileFingerprinter::sha256(data, token);
  if (isRepair) {
    return repairPlan(std::move(sourceFingerprint), data, sourceModificationDate, timeZone, token);
  }
  auto plan = planWithoutData(std::move(sourceFingerprint), fileExtension, confidentlyRecognizedAsCharmera,
                              sourceModificationDate, timeZone);
  if (plan.action == Action::passthrough) {
    plan.outputData = std::move(data);
  }
  return plan;
}

MediaProcessingPlan CharmeraMediaProcessor::planWithoutData(std::string sourceFingerprint,
                                                            std::string_view fileExtension,
                                                            bool confidentlyRecognizedAsCharmera,
                                                            std::optional<Date> sourceModificationDate,
                                                            const TimeZone& timeZone) {
  const Action planned = action(fileExtension, confidentlyRecognizedAsCharmera);
  precondition(planned != Action::repairJPEG, "a repair needs the picture's bytes");
  return planned == Action::transcodeCharmeraVideo
             ? transcodePlan(std::move(sourceFingerprint), sourceModificationDate, timeZone)
             : passthroughPlan(std::move(sourceFingerprint));
}

std::string CharmeraMediaProcessor::jpegMediaPayloadFingerprint(std::span<const std::byte> data,
                                                                const CancellationToken& token) {
  return JPEGLayout::parse(data, token).mediaFingerprint(data, token);
}

std::optional<std::string> CharmeraMediaProcessor::normalizedExifDate(std::optional<std::string_view> text) {
  if (!text) {
    return std::nullopt;
  }
  const std::string_view trimmed = trimmingWhitespaceAndNewlines(*text);
  if (trimmed.empty()) {
    return std::nullopt;
  }
  std::string date(trimmingNULs(trimmed));
  if (date.size() == dateForm.size() && date[placeBetweenDateAndTime] == ':') {
    date[placeBetweenDateAndTime] = ' ';
  }
  return isValidExifDate(date) ? std::optional(std::move(date)) : std::nullopt;
}

bool CharmeraMediaProcessor::isValidExifDate(std::string_view text) {
  constexpr std::chrono::sys_days firstDay = std::chrono::year(1) / 1 / 1;
  const auto date = localDateTimeFromText(text, dateForm);
  return date && *date >= firstDay;
}

std::string CharmeraMediaProcessor::fallbackDateString(Date date, const TimeZone& timeZone) {
  return exifDateText(date, timeZone);
}

std::vector<std::byte> CharmeraMediaProcessor::minimalExifSegment(std::string_view captureDate, int width,
                                                                  int height, std::uint16_t orientation) {
  constexpr std::size_t lengthFieldSize = 2;
  constexpr std::size_t maximumLength = 0xFFFF;
  const TIFFWriter block = minimalExifBlock(captureDate, width, height, orientation);
  const std::size_t length = lengthFieldSize + exifPrefix.size() + block.bytes().size();
  if (length > maximumLength) {
    throw MediaProcessingError(Case::exifBlockTooLarge);
  }
  std::vector<std::byte> segment{std::byte{0xFF}, std::byte{jpegMarker::application1}};
  segment.reserve(segment.size() + length);
  appendBigEndian(segment, static_cast<std::uint16_t>(length));
  segment.insert(segment.end(), exifPrefix.begin(), exifPrefix.end());
  segment.insert(segment.end(), block.bytes().begin(), block.bytes().end());
  return segment;
}

}  // namespace tolvander
