#pragma once

#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// Makes the entry of an exFAT directory one without offsets from UTC, as cameras write it whose clock has no
// zone: clears the OffsetValid bits of its three times (Microsoft exFAT, 7.4.10) and mends its checksum
// (6.3.3). The volume must not be mounted. The name has at most 15 characters and is there once. Throws
// std::runtime_error.
void clearOwnOffsets(const FileURL& device, const std::string& name);

}  // namespace tolvander::tests
