#include "TolvanderCore/CharmeraMediaProcessor.h"

#include <algorithm>
#include <array>
#include <utility>

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Foundation/WallClock.h"
#include "TolvanderCore/MediaKind.h"
#include "TolvanderCore/Picture/JPEGLayout.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander {

namespace {

using Action = MediaProcessingPlan::Action;
using CaptureDateSource = MediaProcessingPlan::CaptureDateSource;
using Case = MediaProcessingError::Case;

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

// Field types of TIFF 6.0.
enum class FieldType : std::uint16_t { ascii = 2, shortInteger = 3, longInteger = 4, rational = 5 };

// A TIFF block in the making. Little-endian.
class TIFFBlock {
 public:
  void append16(std::uint16_t value) { appendLittleEndian(value, 2); }
  void append32(std::uint32_t value) { appendLittleEndian(value, 4); }

  // One entry of a directory; `value` is the value itself or the offset at which it stands.
  void appendEntry(std::uint16_t tag, FieldType type, std::size_t count, std::size_t value) {
    append16(tag);
    append16(static_cast<std::uint16_t>(type));
    append32(static_cast<std::uint32_t>(count));
    append32(static_cast<std::uint32_t>(value));
  }

  void padTo(std::size_t offset) {
    precondition(bytes_.size() <= offset, "values of a TIFF block don't overlap");
    bytes_.resize(offset);
  }

  // Text at an offset, with one more byte where the block would otherwise end at an odd one.
  void appendAt(std::size_t offset, std::string_view text) {
    padTo(offset);
    for (const char character : text) {
      bytes_.push_back(static_cast<std::byte>(character));
    }
    padTo(bytes_.size() + bytes_.size() % 2);
  }

  std::span<const std::byte> bytes() const { return bytes_; }

 private:
  void appendLittleEndian(std::uint32_t value, std::size_t size) {
    for (; size > 0; --size, value >>= 8U) {
      bytes_.push_back(static_cast<std::byte>(value & 0xFFU));
    }
  }

  std::vector<std::byte> bytes_;
};

constexpr std::size_t directorySize(std::size_t entries) { return 2 + entries * 12 + 4; }

constexpr std::size_t evenEnd(std::size_t offset, std::size_t size) {
  const std::size_t end = offset + size;
  return end + end % 2;
}

std::string terminated(std::string_view text) { return std::string(text) + '\0'; }

TIFFBlock minimalExifBlock(std::string_view captureDate, int width, int height, std::uint16_t orientation) {
  const std::string make = terminated("KODAK");
  const std::string model = terminated("Charmera");
  const std::string date = terminated(captureDate);
  const std::string lensModel = terminated("35mm f/2.4");
  constexpr std::size_t focalLengthIn35mmFilm = 35;
  constexpr std::size_t fNumberSize = 8;
  constexpr std::size_t firstEntries = 5;
  constexpr std::size_t exifEntries = 7;

  constexpr std::size_t firstOffset = 8;
  constexpr std::size_t makeOffset = firstOffset + directorySize(firstEntries);
  const std::size_t modelOffset = evenEnd(makeOffset, make.size());
  const std::size_t dateOffset = evenEnd(modelOffset, model.size());
  const std::size_t exifOffset = evenEnd(dateOffset, date.size());
  const std::size_t fNumberOffset = exifOffset + directorySize(exifEntries);
  const std::size_t originalOffset = fNumberOffset + fNumberSize;
  const std::size_t digitizedOffset = evenEnd(originalOffset, date.size());
  const std::size_t lensModelOffset = evenEnd(digitizedOffset, date.size());

  TIFFBlock block;
  block.appendAt(0, "II");
  block.append16(42);
  block.append32(firstOffset);

  block.append16(firstEntries);
  block.appendEntry(271, FieldType::ascii, make.size(), makeOffset);
  block.appendEntry(272, FieldType::ascii, model.size(), modelOffset);
  block.appendEntry(274, FieldType::shortInteger, 1, orientation);
  block.appendEntry(306, FieldType::ascii, date.size(), dateOffset);
  block.appendEntry(34665, FieldType::longInteger, 1, exifOffset);
  block.append32(0);
  block.appendAt(makeOffset, make);
  block.appendAt(modelOffset, model);
  block.appendAt(dateOffset, date);

  block.padTo(exifOffset);
  block.append16(exifEntries);
  block.appendEntry(33437, FieldType::rational, 1, fNumberOffset);
  block.appendEntry(36867, FieldType::ascii, date.size(), originalOffset);
  block.appendEntry(36868, FieldType::ascii, date.size(), digitizedOffset);
  block.appendEntry(40962, FieldType::longInteger, 1, static_cast<std::size_t>(width));
  block.appendEntry(40963, FieldType::longInteger, 1, static_cast<std::size_t>(height));
  block.appendEntry(41989, FieldType::shortInteger, 1, focalLengthIn35mmFilm);
  block.appendEntry(42036, FieldType::ascii, lensModel.size(), lensModelOffset);
  block.append32(0);
  block.padTo(fNumberOffset);
  block.append32(24);
  block.append32(10);
  block.appendAt(originalOffset, date);
  block.appendAt(digitizedOffset, date);
  block.appendAt(lensModelOffset, lensModel);
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
  const auto date = wallClockTimeFromText(text, dateForm);
  return date && *date >= firstDay;
}

std::string CharmeraMediaProcessor::fallbackDateString(Date date, const TimeZone& timeZone) {
  return exifDateText(date, timeZone);
}

std::vector<std::byte> CharmeraMediaProcessor::minimalExifSegment(std::string_view captureDate, int width,
                                                                  int height, std::uint16_t orientation) {
  constexpr std::size_t lengthFieldSize = 2;
  constexpr std::size_t maximumLength = 65535;
  constexpr std::array prefix{std::byte{'E'}, std::byte{'x'}, std::byte{'i'},
                              std::byte{'f'}, std::byte{0},   std::byte{0}};
  const TIFFBlock block = minimalExifBlock(captureDate, width, height, orientation);
  const std::size_t length = lengthFieldSize + prefix.size() + block.bytes().size();
  if (length > maximumLength) {
    throw MediaProcessingError(Case::exifBlockTooLarge);
  }
  const std::array head{std::byte{0xFF}, std::byte{0xE1}, static_cast<std::byte>(length >> 8U),
                        static_cast<std::byte>(length & 0xFFU)};
  std::vector<std::byte> segment(head.size() + length - lengthFieldSize);
  auto place = std::ranges::copy(head, segment.begin()).out;
  place = std::ranges::copy(prefix, place).out;
  std::ranges::copy(block.bytes(), place);
  return segment;
}

}  // namespace tolvander
