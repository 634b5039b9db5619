#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "TolvanderCore/MediaMetadata.h"
#include "TolvanderCore/Recognition/Candidate.h"

namespace tolvander {

// The candidates of a search by their names. Two files have the same name if their names differ in case only;
// two videos also if they differ in their video extension, because an AVI of the camera is in the library as
// a QuickTime movie.
class CandidatesByName {
 public:
  // A number for each name. Candidates have the same number if they have the same name.
  using Name = std::uint32_t;

  explicit CandidatesByName(const std::vector<RecognitionCandidate>& candidates);

  // The number of a file's name. If no candidate has the name, a number that no candidate has.
  Name name(std::string_view filename, std::optional<MediaMetadata::Kind> kind) const;

  Name nameOf(CandidateIndex candidate) const { return names_[candidate]; }

  // The candidates of this name, in the order of the list.
  std::span<const CandidateIndex> named(Name name) const;

 private:
  std::unordered_map<std::string, Name> numbers_;  // of all names, from 0
  std::vector<Name> names_;                        // by candidate

  // All candidates, grouped by name; and by name, where its group begins, followed by where the last one
  // ends.
  std::vector<CandidateIndex> grouped_;
  std::vector<std::size_t> begins_;
};

}  // namespace tolvander
