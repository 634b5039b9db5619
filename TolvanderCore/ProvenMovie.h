#pragma once

#include <vector>

#include "TolvanderCore/PayloadIdentity.h"
#include "TolvanderCore/VideoMediaMetadata.h"

namespace tolvander {

// What was read from a rewrapped movie and found to be the same as in its source.
struct ProvenMovie {
  VideoMediaMetadata metadata;
  std::vector<PayloadIdentity> videoTracks;  // in the order of the file
  std::vector<PayloadIdentity> audioTracks;

  friend bool operator==(const ProvenMovie&, const ProvenMovie&) = default;
};

}  // namespace tolvander
