#include "TolvanderApp/Presentation/FailureText.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "Tests/Support/Fixtures/KnownSystems.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/MediaStagingError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::app {
namespace {

using tests::linuxDesktop;
using tests::macOS;

TEST(FailureText, prefersTheErrorsOwnWords) {
  EXPECT_EQ(failureText(SyncHistoryError(SyncHistoryError::Case::unresolvedImport), macOS),
            "A previous import was interrupted. Check Photos to recover its result; unresolved items stay "
            "paused to prevent duplicates.");
}

TEST(FailureText, namesTheSystemThatTheProgramRunsOn) {
  const auto failure = std::make_exception_ptr(MediaSourceError::volumeAccessDenied("CARD"));
  EXPECT_EQ(failureText(failure, macOS),
            "Tolvander cannot read CARD. Allow removable-volume access in System Settings.");
  EXPECT_EQ(failureText(failure, linuxDesktop),
            "Tolvander cannot read CARD. Check that you are allowed to read this drive.");
}

TEST(FailureJSON, namesTheSystemThatTheProgramRunsOn) {
  using VideoError = CharmeraVideoProcessingError;
  EXPECT_EQ(failureJSON(VideoError(VideoError::Case::nativeExportUnavailable), linuxDesktop),
            R"({"error":{"case":"nativeExportUnavailable","message":"This video could not be converted on )"
            R"(this computer. The camera original is unchanged."}})");
}

TEST(FailureText, hasPlainWordsForAPictureThatCannotBePlanned) {
  using Case = MediaProcessingError::Case;
  const auto textOf = [](Case errorCase) { return failureText(MediaProcessingError(errorCase), macOS); };
  EXPECT_EQ(textOf(Case::malformedJPEG), "This picture is damaged: it doesn’t have the structure of a JPEG.");
  EXPECT_EQ(textOf(Case::missingImageDimensions), "This picture is damaged: it doesn’t say how large it is.");
  EXPECT_EQ(textOf(Case::missingCaptureDate), "Neither the picture nor its file says when it was taken.");
  EXPECT_EQ(textOf(Case::exifBlockTooLarge), "The picture’s new Exif block would be too large.");
  EXPECT_EQ(textOf(Case::pictureTooLarge),
            "This picture is too large to be repaired: it may have at most 268 MB. The camera original is "
            "unchanged.");
}

TEST(FailureText, hasPlainWordsForAFileThatCannotBeStaged) {
  EXPECT_EQ(
      failureText(MediaStagingError::sourceChanged(), macOS),
      "This file changed while it was being read, or it isn’t as large as it says. It was not imported. "
      "Try again.");
  EXPECT_EQ(failureText(MediaStagingError::invalidStagingLocation(), macOS),
            "Tolvander could not prepare temporary copies. The camera originals are unchanged.");
  EXPECT_EQ(failureText(MediaStagingError::unsupportedCharmeraVideo("a\n.avi"), macOS),
            "“a\xEF\xBF\xBD.avi” is a video that can’t be imported.");
}

TEST(FailureJSON, hasTheNameOfTheCaseBesideTheSentence) {
  using VideoError = CharmeraVideoProcessingError;
  EXPECT_EQ(
      failureJSON(VideoError(VideoError::Case::invalidVideo), macOS),
      R"({"error":{"case":"invalidVideo","message":"This video could not be read. The camera original is )"
      R"(unchanged. Try Check Now again."}})");
  EXPECT_EQ(failureJSON(PosixError(ENOENT, "open", FileURL("/a")), macOS),
            R"({"error":{"case":"ENOENT","message":"cannot open \/a: No such file or directory"}})");
  EXPECT_EQ(failureJSON(PosixError(4711, "open", FileURL("/a")), macOS).substr(0, 27),
            R"({"error":{"case":"unknown",)");
  EXPECT_EQ(failureJSON(std::bad_alloc(), macOS), R"({"error":{"message":"There is not enough memory."}})");
}

TEST(FailureJSON, knowsEveryCaseOfPlanningAndRewrapping) {
  const auto nameOf = [](const Error& error) { return std::string(error.caseName()); };
  std::vector<std::string> names;
  for (int index = 0; index <= static_cast<int>(MediaProcessingError::Case::pictureTooLarge); ++index) {
    names.push_back(nameOf(MediaProcessingError(static_cast<MediaProcessingError::Case>(index))));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"malformedJPEG", "missingImageDimensions", "missingCaptureDate",
                                             "exifBlockTooLarge", "pictureTooLarge"}));
  names.clear();
  for (int index = 0; index <= static_cast<int>(CharmeraVideoProcessingError::Case::invalidExport); ++index) {
    names.push_back(
        nameOf(CharmeraVideoProcessingError(static_cast<CharmeraVideoProcessingError::Case>(index))));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"fixtureValidationRequired", "invalidVideo",
                                             "invalidDestination", "nativeExportUnavailable", "exportFailed",
                                             "exportTimedOut", "invalidExport"}));
  EXPECT_EQ(nameOf(MediaStagingError::sourceChanged()), "sourceChanged");
  EXPECT_EQ(nameOf(MediaStagingError::invalidStagingLocation()), "invalidStagingLocation");
  EXPECT_EQ(nameOf(MediaStagingError::unsupportedCharmeraVideo("a")), "unsupportedCharmeraVideo");
}

TEST(FailureText, givesTheDiagnosticTextOtherwise) {
  EXPECT_EQ(failureText(PosixError(ENOENT, "open", FileURL("/a")), macOS),
            "cannot open /a: No such file or directory");
}

TEST(FailureText, hasPlainWordsForWhatTheSystemOnlyNumbers) {
  using Code = CocoaError::Code;
  EXPECT_EQ(failureText(CocoaError(Code::fileReadNoPermission), macOS), "Access to the files was denied.");
  EXPECT_EQ(failureText(CocoaError(Code::fileReadUnknown), macOS), "A file or folder could not be read.");
  EXPECT_EQ(failureText(CocoaError(Code::fileNoSuchFile), macOS), "A file or folder is not there any more.");
  EXPECT_EQ(failureText(CocoaError(Code::fileReadNoSuchFile), macOS),
            "A file or folder is not there any more.");
}

TEST(FailureText, saysThatADiskIsFull) {
  EXPECT_EQ(failureText(PosixError(ENOSPC, "write", FileURL("/a")), macOS),
            "The disk is full: cannot write /a: No space left on device");
  EXPECT_EQ(failureText(PosixError(EDQUOT, "write", FileURL("/a")), macOS).substr(0, 18),
            "The disk is full: ");
  EXPECT_EQ(failureText(PhotosPlatformError(PhotosPlatformError::Case::notEnoughSpace, "no room"), macOS),
            "The disk is full: no room");
}

TEST(FailureText, showsNoTextOfAnotherLibrarysErrors) {
  namespace fs = std::filesystem;
  const auto denied = std::make_error_code(std::errc::permission_denied);
  EXPECT_EQ(failureText(std::bad_alloc(), macOS), "There is not enough memory.");
  EXPECT_EQ(failureText(std::bad_array_new_length(), macOS), "There is not enough memory.");
  EXPECT_EQ(failureText(fs::filesystem_error("copy", "/a\n", denied), macOS),
            "cannot use /a\xEF\xBF\xBD: Permission denied");
  EXPECT_EQ(failureText(fs::filesystem_error("copy", denied), macOS), "cannot use a file: Permission denied");
  EXPECT_EQ(failureText(std::system_error(denied, "thread"), macOS),
            "The system refused a request: Permission denied");
  EXPECT_EQ(failureText(std::out_of_range("vector::_M_range_check"), macOS),
            "Tolvander failed in a way that it has no words for. Please report it.");
}

TEST(FailureText, showsNothingThatCouldMoveACursor) {
  EXPECT_EQ(failureText(PosixError(ENOENT, "open", FileURL("/a\x1b[2J")), macOS),
            "cannot open /a\xEF\xBF\xBD[2J: No such file or directory");
}

}  // namespace
}  // namespace tolvander::app
