#pragma once

#include "TolvanderCore/CharmeraVideoProcessing.h"

namespace tolvander {

// Identifies videos and converts none: transcode always throws fixtureValidationRequired.
class GatedCharmeraVideoProcessor final : public CharmeraVideoProcessing {
 public:
  explicit GatedCharmeraVideoProcessor(
      CharmeraVideoSupportStatus supportStatus = CharmeraVideoSupportStatus::requiresSanitizedFixture)
      : supportStatus_(supportStatus) {}

  CharmeraVideoSupportStatus supportStatus() const override { return supportStatus_; }
  CharmeraVideoProbe probe(const FileURL& sourceURL, std::optional<Date> sourceModificationDate,
                           const CancellationToken& token) const override;
  [[noreturn]] void transcode(const FileURL& sourceURL, const FileURL& destinationURL,
                              const CancellationToken& token) const override;

 private:
  CharmeraVideoSupportStatus supportStatus_;
};

}  // namespace tolvander
