#include "TolvanderApp/Presentation/FailureText.h"

#include <cerrno>
#include <filesystem>
#include <new>
#include <system_error>

#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Foundation/Error.h"
#include "TolvanderCore/Foundation/SystemDescribed.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/MediaStagingError.h"

namespace tolvander::app {

namespace {

std::string text(MediaProcessingError::Case errorCase) {
  using Case = MediaProcessingError::Case;
  switch (errorCase) {
    case Case::malformedJPEG:
      return "This picture is damaged: it doesn’t have the structure of a JPEG.";
    case Case::missingImageDimensions:
      return "This picture is damaged: it doesn’t say how large it is.";
    case Case::missingCaptureDate:
      return "Neither the picture nor its file says when it was taken.";
    case Case::exifBlockTooLarge:
      return "The picture’s new Exif block would be too large.";
    case Case::pictureTooLarge:
      return "This picture is too large to be repaired: it may have at most " +
             byteCountText(static_cast<std::int64_t>(CharmeraMediaProcessor::maximumRepairBytes)) +
             ". The camera original is unchanged.";
  }
  return "This picture could not be processed.";
}

std::string text(const MediaStagingError& error) {
  using Case = MediaStagingError::Case;
  switch (error.kind()) {
    case Case::unsupportedCharmeraVideo:
      return "“" + printable(error.filename()) + "” is a video that can’t be imported.";
    case Case::invalidStagingLocation:
      return "Tolvander could not prepare temporary copies. The camera originals are unchanged.";
    case Case::sourceChanged:
      break;
  }
  return "This file changed while it was being read, or it isn’t as large as it says. It was not imported. "
         "Try "
         "again.";
}

std::string text(CocoaError::Code code) {
  using Code = CocoaError::Code;
  switch (code) {
    case Code::fileNoSuchFile:
    case Code::fileReadNoSuchFile:
      return "A file or folder is not there any more.";
    case Code::fileReadNoPermission:
      return "Access to the files was denied.";
    case Code::fileReadUnknown:
      break;
  }
  return "A file or folder could not be read.";
}

bool isDiskFull(const Error& error) {
  if (const auto* library = dynamic_cast<const PhotosPlatformError*>(&error)) {
    return library->kind() == PhotosPlatformError::Case::notEnoughSpace;
  }
  return error.domain() == PosixError::errorDomain && (error.code() == ENOSPC || error.code() == EDQUOT);
}

// Of our own errors. What their diagnostic text says is written for people at a terminal too.
std::string text(const Error& error, const SystemNames& names) {
  if (const auto* processing = dynamic_cast<const MediaProcessingError*>(&error)) {
    return text(processing->kind());
  }
  if (const auto* staging = dynamic_cast<const MediaStagingError*>(&error)) {
    return text(*staging);
  }
  if (const auto* file = dynamic_cast<const CocoaError*>(&error)) {
    return text(static_cast<CocoaError::Code>(file->code()));
  }
  if (const auto* described = dynamic_cast<const SystemDescribed*>(&error)) {
    return described->describe(names);
  }
  if (auto description = error.description()) {
    return *std::move(description);
  }
  return (isDiskFull(error) ? "The disk is full: " : "") + std::string(error.what());
}

// Of the standard library's file system, whose own text names classes and has brackets for absent paths.
std::string text(const std::filesystem::filesystem_error& error) {
  return "cannot use " + (error.path1().empty() ? "a file" : error.path1().string()) + ": " +
         error.code().message();
}

}  // namespace

// The texts of errors that aren't ours name types and functions, so none of them is shown.
std::string failureText(const std::exception& error, const SystemNames& names) {
  if (const auto* own = dynamic_cast<const Error*>(&error)) {
    return printable(text(*own, names));
  }
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
    return "There is not enough memory.";
  }
  if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
    return printable(text(*file));
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    return printable("The system refused a request: " + system->code().message());
  }
  return "Tolvander failed in a way that it has no words for. Please report it.";
}

std::string failureJSON(const std::exception& error, const SystemNames& names) {
  const auto* own = dynamic_cast<const Error*>(&error);
  const std::string_view caseName = own != nullptr ? own->caseName() : std::string_view();
  return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) {
    writer.beginObject();
    writer.key("error");
    writer.beginObject();
    if (!caseName.empty()) {
      writer.string("case", caseName);
    }
    writer.string("message", failureText(error, names));
    writer.endObject();
    writer.endObject();
  });
}

std::string failureText(const std::exception_ptr& failure, const SystemNames& names) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return failureText(error, names);
  }
}

}  // namespace tolvander::app
