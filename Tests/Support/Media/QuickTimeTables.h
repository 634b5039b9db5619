#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander::tests {

// A track of a QuickTime movie, straight from its sample tables.
struct QuickTimeTrack {
  std::string kind;                      // "vide", "soun"
  std::uint32_t timeScale = 0;           // ticks a second
  std::vector<std::uint32_t> durations;  // of each sample, in ticks
  std::vector<std::uint32_t> sizes;      // of each sample; of sound as the table has it
  std::string bytes;                     // of all samples
  bool isEdited = false;  // it has an edit list that does other than show the whole track from its start

  // Video: each sample's bytes.
  std::vector<std::string> samples() const;

  // Video: the frame shown in each slot of scale / rate seconds. Throws std::runtime_error where a sample
  // lasts no whole number of slots.
  std::vector<std::string> shown(std::uint32_t rate, std::uint32_t scale = 1) const;
};

// Reads the tables (stts, stsc, stsz, stco or co64, elst) without any library, for tests that judge what the
// program wrote. Throws std::runtime_error where a table is missing.
std::vector<QuickTimeTrack> quickTimeTracks(std::string_view file);

}  // namespace tolvander::tests
