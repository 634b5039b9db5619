#include "TolvanderCore/CharmeraMediaProcessor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Media/JPEGSegments.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Picture/JPEGLayout.h"

namespace tolvander::tests {

namespace {

using Action = MediaProcessingPlan::Action;
using Case = MediaProcessingError::Case;
using Source = MediaProcessingPlan::CaptureDateSource;

constexpr std::string_view date = "2026:11:20 10:30:00";
constexpr std::string_view otherDate = "2025:01:02 03:04:05";
constexpr std::string_view thirdDate = "2024:02:29 23:59:59";

const Date modified = *dateFromISO8601("2026-06-15T12:00:00Z");

TimeZone berlin() { return *TimeZone::named("Europe/Berlin"); }

JPEGBuilder finished(JPEGBuilder front) {
  return front.quantisationTable().frame(1440, 1080).huffmanTable().scan().endOfImage();
}

Bytes jpegWith(const TIFFBuilder& exif) { return finished(JPEGBuilder().jfif().exif(exif)).build(); }

MediaProcessingPlan repair(const Bytes& data, std::optional<Date> modificationDate = modified) {
  return CharmeraMediaProcessor::plan(data, "JPG", true, modificationDate, berlin());
}

template <typename Work>
void expectFailure(Case expected, Work work) {
  try {
    work();
    FAIL() << "nothing was thrown";
  } catch (const MediaProcessingError& error) {
    EXPECT_EQ(error.kind(), expected) << error.what();
  }
}

std::optional<std::string> normalized(std::string_view text) {
  return CharmeraMediaProcessor::normalizedExifDate(text);
}

std::size_t exifBlocksIn(const Bytes& data) {
  return static_cast<std::size_t>(std::ranges::count_if(segmentsOf(data), &JPEGSegment::isExif));
}

}  // namespace

// What is planned

TEST(CharmeraMediaProcessor, passesThroughEveryFileThatIsNotKnownToBeACharmeras) {
  const Bytes data = jpegWith(TIFFBuilder().originalDate(date));
  for (const std::string_view extension : {"jpg", "JPEG", "avi", "mov", ""}) {
    const auto plan = CharmeraMediaProcessor::plan(data, extension, false, modified, berlin());
    MediaProcessingPlan expected;
    expected.action = Action::passthrough;
    expected.outputData = data;
    expected.sourceFingerprint = FileFingerprinter::sha256(data);
    expected.processedFingerprint = expected.sourceFingerprint;
    EXPECT_EQ(plan, expected) << extension;
  }
}

TEST(CharmeraMediaProcessor, passesThroughABrokenJPEGThatIsNotKnownToBeACharmeras) {
  const Bytes data = bytes("no JPEG at all");
  const auto plan = CharmeraMediaProcessor::plan(data, "jpg", false, std::nullopt, berlin());
  EXPECT_EQ(plan.action, Action::passthrough);
  EXPECT_EQ(plan.outputData, data);
}

TEST(CharmeraMediaProcessor, passesThroughWithoutACopyOfTheBytes) {
  Bytes data = jpegWith(TIFFBuilder());
  const std::byte* const address = data.data();
  const auto plan = CharmeraMediaProcessor::plan(std::move(data), "jpg", false, modified, berlin());
  EXPECT_EQ(plan.outputData->data(), address);
}

TEST(CharmeraMediaProcessor, passesThroughOtherExtensionsOfACharmera) {
  const Bytes data = jpegWith(TIFFBuilder().originalDate(date));
  for (const std::string_view extension : {"jpe", "png", "mov", "", "jpg ", ".jpg", "jpegx"}) {
    const auto plan = CharmeraMediaProcessor::plan(data, extension, true, modified, berlin());
    EXPECT_EQ(plan.action, Action::passthrough) << extension;
    EXPECT_EQ(plan.outputData, data) << extension;
    EXPECT_EQ(plan.captureDate, std::nullopt) << extension;
  }
}

TEST(CharmeraMediaProcessor, passesThroughAnEmptyFile) {
  const auto plan = CharmeraMediaProcessor::plan({}, "txt", true, modified, berlin());
  EXPECT_EQ(plan.sourceFingerprint, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(plan.outputData, Bytes{});
}

TEST(CharmeraMediaProcessor, repairsWhateverTheCaseOfTheExtension) {
  const Bytes data = jpegWith(TIFFBuilder().originalDate(date));
  for (const std::string_view extension : {"jpg", "JPG", "Jpg", "jpeg", "JPEG", "jPeG"}) {
    const auto plan = CharmeraMediaProcessor::plan(data, extension, true, modified, berlin());
    EXPECT_EQ(plan.action, Action::repairJPEG) << extension;
  }
}

TEST(CharmeraMediaProcessor, plansToTranscodeAnAVIWhateverItHolds) {
  const Bytes data = bytes("anything");
  for (const std::string_view extension : {"avi", "AVI", "Avi"}) {
    MediaProcessingPlan expected;
    expected.action = Action::transcodeCharmeraVideo;
    expected.processorVersion = 2;
    expected.sourceFingerprint = FileFingerprinter::sha256(data);
    expected.captureDate = "2026:06:15 14:00:00";
    expected.captureDateSource = Source::fileModificationTime;
    EXPECT_EQ(CharmeraMediaProcessor::plan(data, extension, true, modified, berlin()), expected);
  }
}

TEST(CharmeraMediaProcessor, plansTheSameForAFileThatWasReadInParts) {
  const Bytes data = bytes("anything");
  for (const auto& [extension, isCharmera] : std::vector<std::pair<std::string_view, bool>>{
           {"avi", true}, {"AVI", false}, {"jpg", false}, {"mov", true}, {"", true}}) {
    MediaProcessingPlan expected =
        CharmeraMediaProcessor::plan(data, extension, isCharmera, modified, berlin());
    expected.outputData.reset();
    EXPECT_EQ(CharmeraMediaProcessor::planWithoutData(FileFingerprinter::sha256(data), extension, isCharmera,
                                                      modified, berlin()),
              expected)
        << extension;
    EXPECT_EQ(CharmeraMediaProcessor::action(extension, isCharmera), expected.action);
  }
}

TEST(CharmeraMediaProcessor, repairsPicturesOfUpTo256Mebibytes) {
  EXPECT_NO_THROW(CharmeraMediaProcessor::requireRepairableSize(268'435'456));
  EXPECT_THROW(CharmeraMediaProcessor::requireRepairableSize(268'435'457), MediaProcessingError);
  try {
    CharmeraMediaProcessor::plan(Bytes(268'435'457), "jpg", true, modified, berlin());
    FAIL();
  } catch (const MediaProcessingError& error) {
    EXPECT_EQ(error.kind(), MediaProcessingError::Case::pictureTooLarge);
  }
}

TEST(CharmeraMediaProcessor, plansToTranscodeAnAVIWithoutADate) {
  const auto plan = CharmeraMediaProcessor::plan(bytes("anything"), "avi", true, std::nullopt, berlin());
  EXPECT_EQ(plan.action, Action::transcodeCharmeraVideo);
  EXPECT_EQ(plan.captureDate, std::nullopt);
  EXPECT_EQ(plan.captureDateSource, std::nullopt);
}

TEST(CharmeraMediaProcessor, plansARepairWithEveryFieldFilledIn) {
  const Bytes data = jpegWith(TIFFBuilder().orientation(6).originalDate(date)) + bytes("trailing");
  const auto segment = CharmeraMediaProcessor::minimalExifSegment(date, 1440, 1080, 6);
  MediaProcessingPlan expected;
  expected.action = Action::repairJPEG;
  expected.processorVersion = 1;
  expected.outputData = finished(JPEGBuilder().jfif().raw(segment)).build() + bytes("trailing");
  expected.sourceFingerprint = FileFingerprinter::sha256(data);
  expected.mediaPayloadFingerprint = CharmeraMediaProcessor::jpegMediaPayloadFingerprint(data);
  expected.processedFingerprint = FileFingerprinter::sha256(*expected.outputData);
  expected.captureDate = date;
  expected.captureDateSource = Source::embeddedOriginal;
  expected.pixelWidth = 1440;
  expected.pixelHeight = 1080;
  expected.orientation = std::uint16_t{6};
  EXPECT_EQ(repair(data), expected);
}

TEST(MediaProcessingPlan, namesItsCasesAsTheyAreStored) {
  EXPECT_EQ(text(Action::passthrough), "passthrough");
  EXPECT_EQ(text(Action::repairJPEG), "repairJPEG");
  EXPECT_EQ(text(Action::unsupportedCharmeraVideo), "unsupportedCharmeraVideo");
  EXPECT_EQ(text(Action::transcodeCharmeraVideo), "transcodeCharmeraVideo");
  EXPECT_EQ(text(Source::embeddedOriginal), "embeddedOriginal");
  EXPECT_EQ(text(Source::embeddedDigitized), "embeddedDigitized");
  EXPECT_EQ(text(Source::embeddedModified), "embeddedModified");
  EXPECT_EQ(text(Source::fileModificationTime), "fileModificationTime");
}

TEST(MediaProcessingError, isNumberedInTheOrderOfItsCasesAndHasNoWords) {
  EXPECT_EQ(MediaProcessingError(Case::malformedJPEG).code(), 0);
  EXPECT_EQ(MediaProcessingError(Case::missingImageDimensions).code(), 1);
  EXPECT_EQ(MediaProcessingError(Case::missingCaptureDate).code(), 2);
  EXPECT_EQ(MediaProcessingError(Case::exifBlockTooLarge).code(), 3);
  EXPECT_EQ(MediaProcessingError(Case::malformedJPEG).domain(), "TolvanderCore.MediaProcessingError");
  EXPECT_EQ(MediaProcessingError(Case::malformedJPEG).description(), std::nullopt);
  EXPECT_STREQ(MediaProcessingError(Case::missingCaptureDate).what(), "missingCaptureDate");
}

// The repair

TEST(JPEGRepair, refusesAMalformedFile) {
  expectFailure(Case::malformedJPEG, [] { repair(bytes("no JPEG at all")); });
  expectFailure(Case::malformedJPEG, [] { repair({}); });
}

TEST(JPEGRepair, refusesAFileWithoutASize) {
  expectFailure(Case::missingImageDimensions,
                [] { repair(JPEGBuilder().jfif().scan().endOfImage().build()); });
  expectFailure(Case::missingImageDimensions,
                [] { repair(JPEGBuilder().frame(0, 8).scan().endOfImage().build()); });
  expectFailure(Case::missingImageDimensions,
                [] { repair(JPEGBuilder().frame(8, 0).scan().endOfImage().build()); });
}

TEST(JPEGRepair, acceptsTheSmallestAndTheLargestSize) {
  EXPECT_EQ(repair(JPEGBuilder().frame(1, 1).scan().endOfImage().build()).pixelWidth, 1);
  EXPECT_EQ(repair(JPEGBuilder().frame(65535, 65535).scan().endOfImage().build()).pixelHeight, 65535);
}

TEST(JPEGRepair, looksForTheSizeBeforeTheDate) {
  expectFailure(Case::missingImageDimensions,
                [] { repair(JPEGBuilder().scan().endOfImage().build(), std::nullopt); });
}

TEST(JPEGRepair, takesTheOriginalThenTheDigitizedThenTheModifiedDateThenThatOfTheFile) {
  const auto plan = [](const TIFFBuilder& exif) { return repair(jpegWith(exif)); };
  const auto original =
      plan(TIFFBuilder().modifiedDate(thirdDate).originalDate(date).digitizedDate(otherDate));
  EXPECT_EQ(original.captureDate, date);
  EXPECT_EQ(original.captureDateSource, Source::embeddedOriginal);
  const auto digitized = plan(TIFFBuilder().modifiedDate(thirdDate).digitizedDate(otherDate));
  EXPECT_EQ(digitized.captureDate, otherDate);
  EXPECT_EQ(digitized.captureDateSource, Source::embeddedDigitized);
  const auto modifiedOnly = plan(TIFFBuilder().modifiedDate(thirdDate));
  EXPECT_EQ(modifiedOnly.captureDate, thirdDate);
  EXPECT_EQ(modifiedOnly.captureDateSource, Source::embeddedModified);
  const auto none = plan(TIFFBuilder());
  EXPECT_EQ(none.captureDate, "2026:06:15 14:00:00");
  EXPECT_EQ(none.captureDateSource, Source::fileModificationTime);
}

TEST(JPEGRepair, movesOnFromADayThatDoesNotExist) {
  const auto plan =
      repair(jpegWith(TIFFBuilder().originalDate("2026:02:30 10:30:00").digitizedDate(otherDate)));
  EXPECT_EQ(plan.captureDate, otherDate);
  EXPECT_EQ(plan.captureDateSource, Source::embeddedDigitized);
}

TEST(JPEGRepair, movesOnFromDatesOfZeros) {
  const auto plan = repair(jpegWith(TIFFBuilder()
                                        .modifiedDate(thirdDate)
                                        .originalDate("0000:00:00 00:00:00")
                                        .digitizedDate("0000:00:00 00:00:00")));
  EXPECT_EQ(plan.captureDate, thirdDate);
  EXPECT_EQ(plan.captureDateSource, Source::embeddedModified);
}

TEST(JPEGRepair, writesAMendedDate) {
  const auto plan = repair(jpegWith(TIFFBuilder().originalDate("2026:11:20:10:30:00")));
  EXPECT_EQ(plan.captureDate, date);
  EXPECT_EQ(plan.captureDateSource, Source::embeddedOriginal);
}

TEST(JPEGRepair, readsTheFileDateInTheGivenZone) {
  const Bytes data = jpegWith(TIFFBuilder());
  const auto captureDate = [&](std::string_view zone) {
    return CharmeraMediaProcessor::plan(data, "jpg", true, modified, *TimeZone::named(zone)).captureDate;
  };
  EXPECT_EQ(captureDate("UTC"), "2026:06:15 12:00:00");
  EXPECT_EQ(captureDate("America/New_York"), "2026:06:15 08:00:00");
  EXPECT_EQ(captureDate("Asia/Kathmandu"), "2026:06:15 17:45:00");
}

TEST(JPEGRepair, refusesAFileWithoutAnyDate) {
  expectFailure(Case::missingCaptureDate, [] { repair(jpegWith(TIFFBuilder()), std::nullopt); });
  expectFailure(Case::missingCaptureDate, [] { repair(finished(JPEGBuilder()).build(), std::nullopt); });
  expectFailure(Case::missingCaptureDate,
                [] { repair(jpegWith(TIFFBuilder().originalDate("0000:00:00 00:00:00")), std::nullopt); });
}

TEST(JPEGRepair, needsNoFileDateWhereThePictureHasOne) {
  EXPECT_EQ(repair(jpegWith(TIFFBuilder().modifiedDate(date)), std::nullopt).captureDate, date);
}

TEST(JPEGRepair, keepsOrientationsFromOneToEightAndMakesEveryOtherOne) {
  for (const int orientation : {1, 2, 3, 4, 5, 6, 7, 8}) {
    const auto plan = repair(jpegWith(TIFFBuilder().orientation(static_cast<std::uint16_t>(orientation))));
    EXPECT_EQ(plan.orientation, orientation);
    EXPECT_EQ(JPEGLayout::parse(*plan.outputData).exifMetadata.orientation, orientation);
  }
  for (const int orientation : {0, 9, 255, 65535}) {
    const auto plan = repair(jpegWith(TIFFBuilder().orientation(static_cast<std::uint16_t>(orientation))));
    EXPECT_EQ(plan.orientation, 1);
    EXPECT_EQ(JPEGLayout::parse(*plan.outputData).exifMetadata.orientation, 1);
  }
  EXPECT_EQ(repair(jpegWith(TIFFBuilder())).orientation, 1);
}

TEST(JPEGRepair, leavesExactlyOneExifBlockBehindJFIFAndBeforeEverythingElse) {
  const Bytes data =
      finished(JPEGBuilder().jfif().exif(TIFFBuilder().originalDate(date)).xmp().exif(TIFFBuilder())).build();
  const auto plan = repair(data);
  EXPECT_EQ(exifBlocksIn(*plan.outputData), 1U);
  const auto segment = CharmeraMediaProcessor::minimalExifSegment(date, 1440, 1080, 1);
  EXPECT_EQ(plan.outputData, finished(JPEGBuilder().jfif().raw(segment).xmp()).build());
}

TEST(JPEGRepair, givesADateThatReadsBackFromAllThreeFields) {
  const auto plan = repair(jpegWith(TIFFBuilder().digitizedDate(otherDate)));
  const auto metadata = JPEGLayout::parse(*plan.outputData).exifMetadata;
  EXPECT_EQ(metadata.originalDate, otherDate);
  EXPECT_EQ(metadata.digitizedDate, otherDate);
  EXPECT_EQ(metadata.modifiedDate, otherDate);
}

TEST(JPEGRepair, keepsThePictureAndChangesNothingOnASecondRunForEveryNamedFile) {
  for (const NamedJPEG& file : namedJPEGs()) {
    SCOPED_TRACE(file.name);
    MediaProcessingPlan plan;
    try {
      plan = repair(file.bytes);
    } catch (const MediaProcessingError&) {
      continue;
    }
    EXPECT_EQ(exifBlocksIn(*plan.outputData), 1U);
    EXPECT_EQ(plan.mediaPayloadFingerprint, CharmeraMediaProcessor::jpegMediaPayloadFingerprint(file.bytes));

    const auto again = repair(*plan.outputData, std::nullopt);
    EXPECT_EQ(again.outputData, plan.outputData);
    EXPECT_EQ(again.mediaPayloadFingerprint, plan.mediaPayloadFingerprint);
    EXPECT_EQ(again.captureDate, plan.captureDate);
    EXPECT_EQ(again.captureDateSource, Source::embeddedOriginal);
  }
}

TEST(JPEGRepair, refusesOrRepairsEachNamedFileAsItsDefectDemands) {
  const auto outcome = [](const Bytes& data) -> std::string {
    try {
      const auto plan = repair(data);
      return std::string(text(*plan.captureDateSource)) + " " + std::to_string(*plan.orientation);
    } catch (const MediaProcessingError& error) {
      return error.what();
    }
  };
  const std::map<std::string, std::string> expected{
      {"sound", "embeddedOriginal 6"},
      {"bigEndianExif", "embeddedOriginal 6"},
      {"noExif", "fileModificationTime 1"},
      {"noMetadata", "fileModificationTime 1"},
      {"emptyExif", "fileModificationTime 1"},
      {"exifBeforeJFIF", "embeddedOriginal 6"},
      {"otherApplicationSegments", "embeddedOriginal 6"},
      {"twoExifBlocks", "embeddedOriginal 6"},
      {"fillBytes", "embeddedOriginal 6"},
      {"standaloneMarkers", "embeddedOriginal 6"},
      {"trailingBytes", "embeddedOriginal 6"},
      {"twoFrameHeaders", "fileModificationTime 1"},
      {"progressive", "embeddedOriginal 6"},
      {"restartMarkers", "fileModificationTime 1"},
      {"lossless", "embeddedOriginal 6"},
      {"twelveBits", "embeddedOriginal 6"},
      {"arithmetic", "embeddedOriginal 6"},
      {"largest", "embeddedOriginal 6"},
      {"manyEmptySegments", "fileModificationTime 1"},
      {"manyRestartMarkers", "fileModificationTime 1"},
      {"manyExifPrefixes", "fileModificationTime 1"},
      {"wrongByteOrder", "fileModificationTime 1"},
      {"wrongMagic", "fileModificationTime 1"},
      {"cutExif", "fileModificationTime 6"},
      {"exifOfPrefixOnly", "fileModificationTime 1"},
      {"claims256Entries", "fileModificationTime 1"},
      {"claims65535Entries", "fileModificationTime 1"},
      {"offsetOutside", "fileModificationTime 3"},
      {"exifPointerOutside", "fileModificationTime 1"},
      {"exifPointerLoops", "fileModificationTime 1"},
      {"zeroDates", "fileModificationTime 1"},
      {"dateWithColon", "embeddedOriginal 1"},
      {"dateNotASCII", "fileModificationTime 1"},
      {"impossibleDate", "embeddedDigitized 1"},
      {"orientation9", "embeddedOriginal 1"},
      {"zeroHeight", "missingImageDimensions"},
      {"noFrame", "missingImageDimensions"},
      {"noScan", "malformedJPEG"},
      {"noEndOfImage", "malformedJPEG"},
      {"lengthOfOne", "malformedJPEG"},
      {"lengthBeyondEnd", "malformedJPEG"},
      {"garbageBetweenSegments", "malformedJPEG"},
      {"notAJPEG", "malformedJPEG"},
      {"empty", "malformedJPEG"},
  };
  const std::vector<NamedJPEG> files = namedJPEGs();
  EXPECT_EQ(files.size(), expected.size());
  for (const NamedJPEG& file : files) {
    EXPECT_EQ(outcome(file.bytes), expected.at(file.name)) << file.name;
  }
}

TEST(JPEGPayloadFingerprint, isThatOfThePlanAndRefusesAMalformedFile) {
  const Bytes data = jpegWith(TIFFBuilder().originalDate(date));
  EXPECT_EQ(CharmeraMediaProcessor::jpegMediaPayloadFingerprint(data), repair(data).mediaPayloadFingerprint);
  expectFailure(Case::malformedJPEG, [] { CharmeraMediaProcessor::jpegMediaPayloadFingerprint({}); });
}

// Dates

TEST(NormalizedExifDate, keepsAProperDate) { EXPECT_EQ(normalized(date), date); }

TEST(NormalizedExifDate, isAbsentForNothing) {
  EXPECT_EQ(CharmeraMediaProcessor::normalizedExifDate(std::nullopt), std::nullopt);
  EXPECT_EQ(normalized(""), std::nullopt);
  EXPECT_EQ(normalized(" \n\t "), std::nullopt);
  EXPECT_EQ(normalized(std::string_view("\0\0", 2)), std::nullopt);
  EXPECT_EQ(normalized(std::string_view(" \0 ", 3)), std::nullopt);
}

TEST(NormalizedExifDate, mendsAColonBetweenDateAndTime) {
  EXPECT_EQ(normalized("2026:11:20:10:30:00"), date);
}

TEST(NormalizedExifDate, trimsWhiteSpaceAndLineEnds) {
  EXPECT_EQ(normalized("  2026:11:20 10:30:00 \r\n\t"), date);
  EXPECT_EQ(normalized("\xC2\xA0"
                       "2026:11:20 10:30:00\xE2\x80\xA8"),
            date)
      << "no-break space, line separator";
}

TEST(NormalizedExifDate, trimsNULsBelowTheWhiteSpace) {
  using namespace std::string_view_literals;
  EXPECT_EQ(normalized("2026:11:20 10:30:00\0"sv), date);
  EXPECT_EQ(normalized("\0\0"
                       "2026:11:20 10:30:00\0\0\0"sv),
            date);
  EXPECT_EQ(normalized(" \0"
                       "2026:11:20 10:30:00\0 "sv),
            date);
  EXPECT_EQ(normalized("2026:11:20 10:30:00 \0"sv), std::nullopt) << "white space within the NULs";
}

TEST(NormalizedExifDate, refusesEveryOtherLength) {
  EXPECT_EQ(normalized("2026:11:20 10:30"), std::nullopt);
  EXPECT_EQ(normalized("2026:11:20 10:30:0"), std::nullopt);
  EXPECT_EQ(normalized("2026:11:20 10:30:000"), std::nullopt);
  EXPECT_EQ(normalized("2026:11:20 10:30:00+01:00"), std::nullopt);
}

TEST(NormalizedExifDate, refusesEveryOtherCharacterInEveryPlace) {
  for (std::size_t place = 0; place < date.size(); ++place) {
    for (const char character : {'x', '-', '/', '\0', '\x80', ' ', ':', '5'}) {
      std::string text(date);
      text[place] = character;
      const bool isSeparator = place == 4 || place == 7 || place == 13 || place == 16;
      const bool fits = place == 10   ? character == ' ' || character == ':'
                        : isSeparator ? character == ':'
                                      : character == '5';
      if (!fits) {
        EXPECT_EQ(normalized(text), std::nullopt) << place << " " << character;
      }
    }
  }
}

TEST(NormalizedExifDate, refusesAnInnerBlank) {
  EXPECT_EQ(normalized("2026:11: 2 10:30:00"), std::nullopt);
  EXPECT_EQ(normalized("2026:11:20 10: 3:00"), std::nullopt);
}

TEST(NormalizedExifDate, countsBytesAndNotCharacters) {
  EXPECT_EQ(normalized("2026:11:20\xC2\xA0"
                       "10:30:00"),
            std::nullopt);
  EXPECT_EQ(normalized("\xD9\xA2\xD9\xA0"
                       ":11:20 10:30:00"),
            std::nullopt)
      << "Arabic digits, 19 bytes";
}

TEST(ValidExifDate, acceptsTheEndsOfEachRange) {
  for (const std::string_view text : {"0001:01:01 00:00:00", "9999:12:31 23:59:59", "2024:02:29 00:00:00",
                                      "2000:02:29 00:00:00", "2026:01:31 23:59:59", "2026:04:30 00:00:00"}) {
    EXPECT_TRUE(CharmeraMediaProcessor::isValidExifDate(text)) << text;
  }
}

TEST(ValidExifDate, refusesWhatDoesNotExist) {
  for (const std::string_view text :
       {"0000:01:01 00:00:00", "2026:00:01 00:00:00", "2026:13:01 00:00:00", "2026:01:00 00:00:00",
        "2026:01:32 00:00:00", "2026:04:31 00:00:00", "2026:02:29 00:00:00", "2100:02:29 00:00:00",
        "2026:02:30 00:00:00", "2026:01:01 24:00:00", "2026:01:01 00:60:00", "2016:12:31 23:59:60",
        "2026:01:01 99:00:00", "0000:00:00 00:00:00", "2026:99:99 00:00:00"}) {
    EXPECT_FALSE(CharmeraMediaProcessor::isValidExifDate(text)) << text;
    EXPECT_EQ(normalized(text), std::nullopt) << text;
  }
}

TEST(FallbackDateString, isTheWallClockTimeOfTheZone) {
  EXPECT_EQ(CharmeraMediaProcessor::fallbackDateString(modified, berlin()), "2026:06:15 14:00:00");
  EXPECT_EQ(CharmeraMediaProcessor::fallbackDateString(modified + std::chrono::milliseconds(999), berlin()),
            "2026:06:15 14:00:00");
  const Date winter = *dateFromISO8601("2026-12-31T23:30:00Z");
  EXPECT_EQ(CharmeraMediaProcessor::fallbackDateString(winter, berlin()), "2027:01:01 00:30:00");
}

// The Exif block

TEST(MinimalExifSegment, isThese270BytesToTheLast) {
  const auto segment = CharmeraMediaProcessor::minimalExifSegment("2026:11:20 10:30:00", 1440, 1080, 6);
  // Typed in from the layout of the block, offset by offset.
  const Bytes expected = bytes({
      0xFF, 0xE1, 0x01, 0x0C,                          // APP1, length 268
      'E',  'x',  'i',  'f',  0x00, 0x00,              //
      'I',  'I',  0x2A, 0x00, 0x08, 0x00, 0x00, 0x00,  // 0: header, first directory at 8
      0x05, 0x00,                                      // 8: five entries
      0x0F, 0x01, 0x02, 0x00, 0x06, 0x00, 0x00, 0x00, 0x4A, 0x00, 0x00,
      0x00,  // 10: Make at 74
      0x10, 0x01, 0x02, 0x00, 0x09, 0x00, 0x00, 0x00, 0x50, 0x00, 0x00,
      0x00,  // 22: Model at 80
      0x12, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x06, 0x00, 0x00,
      0x00,  // 34: Orientation 6
      0x32, 0x01, 0x02, 0x00, 0x14, 0x00, 0x00, 0x00, 0x5A, 0x00, 0x00,
      0x00,  // 46: DateTime at 90
      0x69, 0x87, 0x04, 0x00, 0x01, 0x00, 0x00, 0x00, 0x6E, 0x00, 0x00,
      0x00,                                                             // 58: Exif directory at 110
      0x00, 0x00, 0x00, 0x00,                                           // 70: no next directory
      'K',  'O',  'D',  'A',  'K',  0x00,                               // 74
      'C',  'h',  'a',  'r',  'm',  'e',  'r',  'a',  0x00, 0x00,       // 80, padded
      '2',  '0',  '2',  '6',  ':',  '1',  '1',  ':',  '2',  '0',  ' ',  // 90
      '1',  '0',  ':',  '3',  '0',  ':',  '0',  '0',  0x00,             //
      0x07, 0x00,                                                       // 110: seven entries
      0x9D, 0x82, 0x05, 0x00, 0x01, 0x00, 0x00, 0x00, 0xC8, 0x00, 0x00,
      0x00,  // 112: FNumber at 200
      0x03, 0x90, 0x02, 0x00, 0x14, 0x00, 0x00, 0x00, 0xD0, 0x00, 0x00,
      0x00,  // 124: DateTimeOriginal at 208
      0x04, 0x90, 0x02, 0x00, 0x14, 0x00, 0x00, 0x00, 0xE4, 0x00, 0x00,
      0x00,  // 136: DateTimeDigitized at 228
      0x02, 0xA0, 0x04, 0x00, 0x01, 0x00, 0x00, 0x00, 0xA0, 0x05, 0x00,
      0x00,  // 148: width 1440
      0x03, 0xA0, 0x04, 0x00, 0x01, 0x00, 0x00, 0x00, 0x38, 0x04, 0x00,
      0x00,  // 160: height 1080
      0x05, 0xA4, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x23, 0x00, 0x00,
      0x00,  // 172: focal length 35
      0x34, 0xA4, 0x02, 0x00, 0x0B, 0x00, 0x00, 0x00, 0xF8, 0x00, 0x00,
      0x00,                                                             // 184: LensModel at 248
      0x00, 0x00, 0x00, 0x00,                                           // 196: no next directory
      0x18, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x00, 0x00,                   // 200: 24 / 10
      '2',  '0',  '2',  '6',  ':',  '1',  '1',  ':',  '2',  '0',  ' ',  // 208
      '1',  '0',  ':',  '3',  '0',  ':',  '0',  '0',  0x00,             //
      '2',  '0',  '2',  '6',  ':',  '1',  '1',  ':',  '2',  '0',  ' ',  // 228
      '1',  '0',  ':',  '3',  '0',  ':',  '0',  '0',  0x00,             //
      '3',  '5',  'm',  'm',  ' ',  'f',  '/',  '2',  '.',  '4',  0x00,
      0x00,  // 248, padded
  });
  ASSERT_EQ(expected.size(), 270U);
  EXPECT_EQ(segment, expected);
}

TEST(MinimalExifSegment, differsInSizeAndOrientationOnlyInTheirFields) {
  const auto reference = CharmeraMediaProcessor::minimalExifSegment(date, 1440, 1080, 6);
  auto segment = CharmeraMediaProcessor::minimalExifSegment(date, 0xFEDC, 0x1234, 8);
  constexpr std::size_t tiff = 10;
  EXPECT_EQ(Bytes(segment.begin() + tiff + 156, segment.begin() + tiff + 160), bytes({0xDC, 0xFE, 0, 0}));
  EXPECT_EQ(Bytes(segment.begin() + tiff + 168, segment.begin() + tiff + 172), bytes({0x34, 0x12, 0, 0}));
  EXPECT_EQ(Bytes(segment.begin() + tiff + 42, segment.begin() + tiff + 46), bytes({8, 0, 0, 0}));
  for (const std::size_t offset : {tiff + 42, tiff + 156, tiff + 157, tiff + 168, tiff + 169}) {
    segment[offset] = reference[offset];
  }
  EXPECT_EQ(segment, reference);
}

TEST(MinimalExifSegment, computesItsOffsetsFromTheActualSizes) {
  // With its NUL, a date of odd length needs no padding and one of even length one byte.
  for (const std::string_view text : {"12345", "123456", "12345678901"}) {
    const auto segment = CharmeraMediaProcessor::minimalExifSegment(text, 8, 8, 1);
    const Bytes data = finished(JPEGBuilder().raw(segment)).build();
    const auto metadata = JPEGLayout::parse(data).exifMetadata;
    EXPECT_EQ(metadata.originalDate, text);
    EXPECT_EQ(metadata.digitizedDate, text);
    EXPECT_EQ(metadata.modifiedDate, text);
    EXPECT_EQ(segment.size() % 2, 0U);
  }
}

TEST(MinimalExifSegment, refusesToExceedASegment) {
  // Three dates of this length make a length field of 65532 and the next even one 65538.
  const std::string longest(21773, 'x');
  const auto segment = CharmeraMediaProcessor::minimalExifSegment(longest, 8, 8, 1);
  EXPECT_EQ(segment.size(), 2U + 65530U);
  expectFailure(Case::exifBlockTooLarge,
                [&] { CharmeraMediaProcessor::minimalExifSegment(longest + "xx", 8, 8, 1); });
}

}  // namespace tolvander::tests
