#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "TolvanderCore/JPEGSegmentReader.h"

namespace tolvander::tests {

// All segments of a JPEG before its first scan. Throws what JPEGSegmentReader throws.
inline std::vector<JPEGSegment> segmentsOf(std::span<const std::byte> data) {
  std::vector<JPEGSegment> segments;
  for (JPEGSegmentReader reader(data); reader.next();) {
    segments.push_back(reader.segment());
  }
  return segments;
}

}  // namespace tolvander::tests
