#include "TolvanderCore/Recognition/CandidatesByName.h"

#include <limits>
#include <numeric>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/MediaKind.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander {

namespace {

std::string nameKey(std::string_view filename, std::optional<MediaMetadata::Kind> kind) {
  std::string key = lowercased(filename);
  if (kind != MediaMetadata::Kind::video) {
    return key;
  }
  const std::string_view extension = pathExtension(key);
  if (!isVideoExtension(extension)) {
    return key;
  }
  key.resize(static_cast<std::size_t>(extension.data() - key.data()) - 1);
  return "video:" + key;
}

std::optional<MediaMetadata::Kind> kindOf(const RecognitionCandidate& candidate) {
  return candidate.metadata ? std::optional(candidate.metadata->kind) : std::nullopt;
}

}  // namespace

CandidatesByName::CandidatesByName(const std::vector<RecognitionCandidate>& candidates) {
  precondition(candidates.size() < std::numeric_limits<CandidateIndex>::max(),
               "a search has fewer than 2^32 candidates");
  numbers_.reserve(candidates.size());
  names_.reserve(candidates.size());
  for (const RecognitionCandidate& candidate : candidates) {
    const auto unused = static_cast<Name>(numbers_.size());
    names_.push_back(
        numbers_.try_emplace(nameKey(candidate.filename, kindOf(candidate)), unused).first->second);
  }

  begins_.resize(numbers_.size() + 1);
  for (const Name name : names_) {
    ++begins_[name + 1];
  }
  std::partial_sum(begins_.begin(), begins_.end(), begins_.begin());
  grouped_.resize(names_.size());
  std::vector<std::size_t> ends(begins_.begin(), begins_.end() - 1);
  for (CandidateIndex candidate = 0; candidate < names_.size(); ++candidate) {
    grouped_[ends[names_[candidate]]++] = candidate;
  }
}

CandidatesByName::Name CandidatesByName::name(std::string_view filename,
                                              std::optional<MediaMetadata::Kind> kind) const {
  const auto found = numbers_.find(nameKey(filename, kind));
  return found == numbers_.end() ? static_cast<Name>(numbers_.size()) : found->second;
}

std::span<const CandidateIndex> CandidatesByName::named(Name name) const {
  if (name >= numbers_.size()) {
    return {};
  }
  return std::span(grouped_).subspan(begins_[name], begins_[name + 1] - begins_[name]);
}

}  // namespace tolvander
