#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "TolvanderCore/MediaMetadata.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"

namespace tolvander {

// Candidates by their position in the list that a search was given; there are fewer than 2^32 of them.
using CandidateIndex = std::uint32_t;

// The candidates of a search by their names. Two files have the same name when their names differ in case
// alone, and two videos also when they differ in their video extensions: what the camera wrote as an AVI lies
// in the library as a movie of another kind.
class NamedCandidates {
 public:
  // A number that stands for one name.
  using Name = std::uint32_t;

  explicit NamedCandidates(const std::vector<OfflinePhotoRecognizer::Candidate>& candidates);

  // The name of a file; one that no candidate has where there is none such.
  Name name(std::string_view filename, std::optional<MediaMetadata::Kind> kind) const;

  Name nameOf(CandidateIndex candidate) const { return names_[candidate]; }

  // The candidates of this name, in the order of the list.
  std::span<const CandidateIndex> named(Name name) const;

 private:
  std::unordered_map<std::string, Name> numbers_;  // of the names that candidates have, from 0
  std::vector<Name> names_;                        // of each candidate
  std::vector<std::size_t> begins_;                // of each name in `grouped_`, and the end of the last
  std::vector<CandidateIndex> grouped_;            // all candidates, name by name
};

}  // namespace tolvander
