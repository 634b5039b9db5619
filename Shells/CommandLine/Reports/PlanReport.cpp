#include "Shells/CommandLine/Reports/PlanReport.h"

#include <cerrno>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/NewFile.h"
#include "TolvanderCore/Files/WholeFile.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::app {

namespace {

using Action = MediaProcessingPlan::Action;
using CaptureDateSource = MediaProcessingPlan::CaptureDateSource;

// Only a picture to be repaired is held in memory.
MediaProcessingPlan planOf(WholeFile& file, std::string_view extension, const PlanReport::Terms& terms,
                           std::optional<Date> modificationDate, const CancellationToken& token) {
  if (CharmeraMediaProcessor::action(extension, terms.isFromCharmera) == Action::repairJPEG) {
    CharmeraMediaProcessor::requireRepairableSize(file.byteCount());
    return CharmeraMediaProcessor::plan(file.contents(token), extension, terms.isFromCharmera,
                                        modificationDate, terms.zone, token);
  }
  return CharmeraMediaProcessor::planWithoutData(FileFingerprinter::sha256(file, token), extension,
                                                 terms.isFromCharmera, modificationDate, terms.zone);
}

std::optional<std::int64_t> byteCountOfOutput(const MediaProcessingPlan& plan, const WholeFile& file) {
  if (plan.outputData) {
    return static_cast<std::int64_t>(plan.outputData->size());
  }
  return plan.action == Action::passthrough ? std::optional(static_cast<std::int64_t>(file.byteCount()))
                                            : std::nullopt;
}

std::string_view fate(Action action) {
  switch (action) {
    case Action::passthrough:
      return "is imported as it is.";
    case Action::repairJPEG:
      return "is imported with a new Exif block. Its picture stays the same to the last bit.";
    case Action::unsupportedCharmeraVideo:
      return "is a video that can’t be imported.";
    case Action::transcodeCharmeraVideo:
      return "is rewrapped as a QuickTime movie before it is imported.";
  }
  return "";
}

std::string_view words(CaptureDateSource source) {
  switch (source) {
    case CaptureDateSource::embeddedOriginal:
      return "when it was taken, by its Exif";
    case CaptureDateSource::embeddedDigitized:
      return "when it was digitized, by its Exif";
    case CaptureDateSource::embeddedModified:
      return "when it was changed, by its Exif";
    case CaptureDateSource::fileModificationTime:
      return "when the file was modified";
  }
  return "";
}

std::string dateText(const MediaProcessingPlan& plan) {
  std::string text = *plan.captureDate;
  if (plan.captureDateSource) {
    text += " (" + std::string(words(*plan.captureDateSource)) + ")";
  }
  return text;
}

void writeIfPresent(JSONWriter& writer, std::string_view name, const std::optional<std::string>& text) {
  if (text) {
    writer.string(name, *text);
  }
}

template <typename Integer>
void writeIfPresent(JSONWriter& writer, std::string_view name, const std::optional<Integer>& number) {
  if (number) {
    writer.integer(name, *number);
  }
}

}  // namespace

std::optional<std::string> NoPlannedOutputError::description() const {
  return "There is nothing to write: what is imported of this video is made when it is rewrapped.";
}

PlanReport PlanReport::of(const FileURL& fileURL, const Terms& terms, const CancellationToken& token) {
  const FileURL file = fileURL.resolvingSymlinks();
  const FileResourceValues values = cameraFileResourceValues(file, terms.zone);
  if (!values.isRegularFile) {
    throw PosixError(values.isDirectory ? EISDIR : EINVAL, "plan", fileURL);
  }
  const auto modificationDate =
      terms.modificationDate ? terms.modificationDate : values.contentModificationDate;
  WholeFile source(file);
  PlanReport report{.fileURL = fileURL,
                    .plan = planOf(source, fileURL.pathExtension(), terms, modificationDate, token)};
  report.outputByteCount = byteCountOfOutput(report.plan, source);
  return report;
}

void PlanReport::writeOutput(const FileURL& url, const CancellationToken& token) const {
  if (plan.outputData) {
    writeNewFile(url, *plan.outputData, token);
  } else if (plan.action == Action::passthrough) {
    copyToNewFile(fileURL.resolvingSymlinks(), url, plan.sourceFingerprint, token);
  } else {
    throw NoPlannedOutputError();
  }
}

std::string PlanReport::text() const {
  std::string text =
      "“" + printable(fileURL.lastPathComponent()) + "” " + std::string(fate(plan.action)) + "\n";
  if (plan.processorVersion) {
    text += factLine("Processing version", std::to_string(*plan.processorVersion));
  }
  if (outputByteCount) {
    text += factLine("Output", counted(*outputByteCount, "byte", "bytes"));
  }
  text += factLine("Source SHA-256", plan.sourceFingerprint);
  if (plan.mediaPayloadFingerprint) {
    text += factLine("Picture fingerprint", *plan.mediaPayloadFingerprint);
  }
  if (plan.processedFingerprint) {
    text += factLine("Output SHA-256", *plan.processedFingerprint);
  }
  if (plan.captureDate) {
    text += factLine("Date", dateText(plan));
  }
  if (plan.pixelWidth && plan.pixelHeight) {
    text += factLine("Picture size", pixelSizeText(*plan.pixelWidth, *plan.pixelHeight));
  }
  if (plan.orientation) {
    text += factLine("Orientation", std::to_string(*plan.orientation));
  }
  return text;
}

std::string PlanReport::json() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    writer.beginObject();
    writer.string("action", tolvander::text(plan.action));
    writeIfPresent(writer, "processorVersion", plan.processorVersion);
    writeIfPresent(writer, "outputData", outputByteCount);
    writer.string("sourceFingerprint", plan.sourceFingerprint);
    writeIfPresent(writer, "mediaPayloadFingerprint", plan.mediaPayloadFingerprint);
    writeIfPresent(writer, "processedFingerprint", plan.processedFingerprint);
    writeIfPresent(writer, "captureDate", plan.captureDate);
    if (plan.captureDateSource) {
      writer.string("captureDateSource", tolvander::text(*plan.captureDateSource));
    }
    writeIfPresent(writer, "pixelWidth", plan.pixelWidth);
    writeIfPresent(writer, "pixelHeight", plan.pixelHeight);
    writeIfPresent(writer, "orientation", plan.orientation);
    writer.endObject();
  });
}

}  // namespace tolvander::app
