#include "TolvanderCore/Video/GatedCharmeraVideoProcessor.h"

#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander {

CharmeraVideoProbe GatedCharmeraVideoProcessor::probe(const FileURL& sourceURL,
                                                      std::optional<Date> sourceModificationDate,
                                                      const CancellationToken& token) const {
  const std::string fingerprint = FileFingerprinter::sha256(sourceURL, token);
  return {.supportStatus = supportStatus_,
          .sourceFingerprint = fingerprint,
          .proposedOutputFilename = fingerprint + "-video-p1.mp4",
          .captureDate = sourceModificationDate};
}

void GatedCharmeraVideoProcessor::transcode(const FileURL& /*sourceURL*/, const FileURL& /*destinationURL*/,
                                            const CancellationToken& /*token*/) const {
  throw CharmeraVideoProcessingError(CharmeraVideoProcessingError::Case::fixtureValidationRequired);
}

}  // namespace tolvander
