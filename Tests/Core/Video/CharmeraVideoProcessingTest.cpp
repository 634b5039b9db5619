#include "TolvanderCore/CharmeraVideoProcessing.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "Tests/Support/Fixtures/KnownSystems.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Video/GatedCharmeraVideoProcessor.h"

namespace tolvander::tests {

TEST(CharmeraVideoProcessingError, hasItsWordsForEachCase) {
  using Case = CharmeraVideoProcessingError::Case;
  const std::string cannotConvert =
      "This video could not be converted on this Mac. The camera original is unchanged.";
  const std::string cannotPrepare =
      "This video could not be prepared for Photos. The camera original is unchanged. Try Check Now again.";
  const std::array<std::pair<Case, std::string>, 7> expected = {{
      {Case::fixtureValidationRequired, cannotConvert},
      {Case::invalidVideo,
       "This video could not be read. The camera original is unchanged. Try Check Now again."},
      {Case::invalidDestination,
       "Tolvander could not prepare a temporary video copy. The camera original is unchanged. Try Check Now "
       "again."},
      {Case::nativeExportUnavailable, cannotConvert},
      {Case::exportFailed, cannotPrepare},
      {Case::exportTimedOut,
       "Preparing this video took too long. The camera original is unchanged. Try Check Now again."},
      {Case::invalidExport, cannotPrepare},
  }};
  std::int64_t code = 0;
  for (const auto& [what, text] : expected) {
    const CharmeraVideoProcessingError error(what);
    EXPECT_EQ(error.describe(macOS), text);
    EXPECT_EQ(error.code(), code++);
    EXPECT_EQ(error.domain(), "TolvanderCore.CharmeraVideoProcessingError");
  }
}

TEST(CharmeraVideoProcessingError, namesTheComputerThatCannotConvertAVideo) {
  using Error = CharmeraVideoProcessingError;
  for (const auto what : {Error::Case::fixtureValidationRequired, Error::Case::nativeExportUnavailable}) {
    EXPECT_EQ(Error(what).describe(linuxDesktop),
              "This video could not be converted on this computer. The camera original is unchanged.");
  }
}

TEST(GatedCharmeraVideoProcessor, identifiesAVideo) {
  const TemporaryFolder folder;
  const FileURL url = folder / "PICT0001.AVI";
  writeFile(url, "anything");
  const Date date(std::chrono::seconds(1));
  const std::string fingerprint = FileFingerprinter::sha256(url);
  EXPECT_EQ(GatedCharmeraVideoProcessor().probe(url, date, {}),
            (CharmeraVideoProbe{.supportStatus = CharmeraVideoSupportStatus::requiresSanitizedFixture,
                                .sourceFingerprint = fingerprint,
                                .proposedOutputFilename = fingerprint + "-video-p1.mp4",
                                .captureDate = date}));
  EXPECT_FALSE(GatedCharmeraVideoProcessor().probe(url, std::nullopt, {}).captureDate);
  EXPECT_THROW(GatedCharmeraVideoProcessor().probe(folder / "missing", std::nullopt, {}), PosixError);
}

TEST(GatedCharmeraVideoProcessor, givesTheStatusThatItWasMadeWith) {
  const TemporaryFolder folder;
  writeFile(folder / "a", "b");
  const GatedCharmeraVideoProcessor processor(CharmeraVideoSupportStatus::available);
  EXPECT_EQ(processor.supportStatus(), CharmeraVideoSupportStatus::available);
  EXPECT_EQ(processor.probe(folder / "a", {}, {}).supportStatus, CharmeraVideoSupportStatus::available);
}

TEST(GatedCharmeraVideoProcessor, neverConverts) {
  const TemporaryFolder folder;
  writeFile(folder / "a.avi", "b");
  for (const auto status :
       {CharmeraVideoSupportStatus::requiresSanitizedFixture, CharmeraVideoSupportStatus::available}) {
    try {
      GatedCharmeraVideoProcessor(status).transcode(folder / "a.avi", folder / "a.mov", {});
      FAIL();
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), CharmeraVideoProcessingError::Case::fixtureValidationRequired);
    }
  }
}

}  // namespace tolvander::tests
