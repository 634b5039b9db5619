#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// What a reader takes an AVI to hold.
struct SeenAVI {
  std::vector<std::vector<std::string>> video;  // of each track: the frame of each slot
  std::vector<std::string> sound;               // of each track, in whole samples

  friend bool operator==(const SeenAVI&, const SeenAVI&) = default;
};

// By the reader that feeds an export. Empty where it refuses the file.
std::optional<SeenAVI> seenByMovie(const FileURL& url);

// By the reader that proves an export. Empty where it refuses the file.
std::optional<SeenAVI> seenByAVIReading(const FileURL& url);

}  // namespace tolvander::tests
