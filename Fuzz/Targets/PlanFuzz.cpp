// Every plan has the fields of its action, and a repair keeps the picture, dates it and is stable. The first
// byte of an input chooses the arguments, the rest is the file.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Tests/Support/Media/JPEGSegments.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Picture/JPEGLayout.h"

namespace {

using tolvander::CharmeraMediaProcessor;
using tolvander::Date;
using tolvander::FileFingerprinter;
using tolvander::JPEGLayout;
using tolvander::MediaProcessingError;
using tolvander::MediaProcessingPlan;
using tolvander::precondition;
using tolvander::TimeZone;

using Action = MediaProcessingPlan::Action;
using Bytes = std::vector<std::byte>;

struct Arguments {
  bool isCharmera;
  std::optional<Date> modificationDate;
  std::string_view extension;

  explicit Arguments(std::uint8_t choices) : isCharmera((choices & 1U) != 0) {
    constexpr std::array<std::string_view, 4> extensions{"JPG", "jpeg", "avi", "mov"};
    if ((choices & 2U) != 0) {
      modificationDate = Date(std::chrono::hours(500'000));
    }
    extension = extensions.at(choices >> 2U & 3U);
  }
};

void checkUnaltered(const MediaProcessingPlan& plan, const Bytes& data) {
  precondition(plan.outputData == data && plan.processedFingerprint == plan.sourceFingerprint,
               "the bytes themselves");
  precondition(
      !plan.processorVersion && !plan.mediaPayloadFingerprint && !plan.captureDate && !plan.orientation,
      "nothing was read");
}

void checkRepair(const MediaProcessingPlan& plan, const Bytes& data, const Arguments& arguments) {
  const Bytes& output = plan.outputData.value();
  precondition(plan.processorVersion == 1, "the repair's version");
  precondition(plan.processedFingerprint == FileFingerprinter::sha256(output), "of the output");
  precondition(plan.mediaPayloadFingerprint == CharmeraMediaProcessor::jpegMediaPayloadFingerprint(data),
               "of the input");
  precondition(CharmeraMediaProcessor::normalizedExifDate(plan.captureDate) == plan.captureDate,
               "a proper date");

  const JPEGLayout layout = JPEGLayout::parse(output);
  precondition(layout.mediaFingerprint(output) == plan.mediaPayloadFingerprint, "the picture stays");
  precondition(std::ranges::count_if(tolvander::tests::segmentsOf(output), &JPEGLayout::Segment::isExif) == 1,
               "one Exif block");
  precondition(layout.width == plan.pixelWidth && layout.height == plan.pixelHeight, "the size stays");
  precondition(layout.exifMetadata.orientation == plan.orientation, "the orientation was written");
  precondition(layout.exifMetadata.originalDate == plan.captureDate &&
                   layout.exifMetadata.digitizedDate == plan.captureDate &&
                   layout.exifMetadata.modifiedDate == plan.captureDate,
               "the date was written three times");

  const auto again =
      CharmeraMediaProcessor::plan(output, arguments.extension, true, std::nullopt, TimeZone::utc());
  precondition(again.outputData == output, "repairing twice is repairing once");
}

void check(const MediaProcessingPlan& plan, const Bytes& data, const Arguments& arguments) {
  precondition(plan.sourceFingerprint == FileFingerprinter::sha256(data), "of the input");
  switch (plan.action) {
    case Action::passthrough:
      return checkUnaltered(plan, data);
    case Action::repairJPEG:
      return checkRepair(plan, data, arguments);
    case Action::transcodeCharmeraVideo:
      return precondition(!plan.outputData && plan.processorVersion == 2 &&
                              plan.captureDate.has_value() == arguments.modificationDate.has_value(),
                          "no work on a video");
    case Action::unsupportedCharmeraVideo:
      return precondition(false, "never planned");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const Arguments arguments(bytes[0]);
  const auto rest = std::as_bytes(std::span(bytes, size)).subspan(1);
  const Bytes data(rest.begin(), rest.end());
  try {
    check(CharmeraMediaProcessor::plan(data, arguments.extension, arguments.isCharmera,
                                       arguments.modificationDate, TimeZone::utc()),
          data, arguments);
  } catch (const MediaProcessingError& error) {
    precondition(arguments.isCharmera, "only repairs fail");
    precondition(error.kind() != MediaProcessingError::Case::exifBlockTooLarge, "the block always fits");
  }
  return 0;
}
