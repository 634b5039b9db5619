#include "TolvanderCore/Recognition/ReadBudget.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tolvander {

namespace {

ReadState stateAfter(ResourceReadResult::Case end) {
  using Case = ResourceReadResult::Case;
  switch (end) {
    case Case::available:
      return ReadState::available;
    case Case::unavailable:
      return ReadState::unavailable;
    case Case::notLocal:
      return ReadState::notLocal;
    case Case::budgetExceeded:
      break;
  }
  return ReadState::budgetExceeded;
}

}  // namespace

ReadBudget::ReadBudget(const std::vector<RecognitionCandidate>& candidates, const RecognitionPolicy& policy,
                       const RecognitionClock& now, const ResourceRead& read)
    : candidates_(candidates),
      policy_(policy),
      now_(now),
      read_(read),
      start_(now()),
      remainingBytes_(policy.maximumBytes),
      states_(candidates.size(), ReadState::unread),
      stored_(candidates.size(), notStored) {
  std::unordered_map<std::string_view, std::uint32_t> firstWithId;
  firstWithId.reserve(candidates.size());
  resources_.reserve(candidates.size());
  for (const RecognitionCandidate& candidate : candidates) {
    const auto index = static_cast<std::uint32_t>(resources_.size());
    resources_.push_back(firstWithId.try_emplace(candidate.id, index).first->second);
    if (candidate.identity && resources_.back() == index) {
      store(index, ResourceReadResult::available(*candidate.identity, 0));
    }
  }
}

const ResourceReadResult* ReadBudget::result(CandidateIndex candidate) {
  const std::uint32_t resource = resources_[candidate];
  if (states_[resource] == ReadState::unread) {
    if (isExhausted()) {
      return nullptr;
    }
    const std::chrono::nanoseconds left = timeLeft();
    if (left <= std::chrono::nanoseconds::zero()) {
      isTimeUp_ = true;
      return nullptr;
    }
    store(resource, read(candidates_[candidate].id, std::min(left, policy_.resourceTimeout)));
  }
  return &results_[stored_[resource]];
}

bool ReadBudget::isExhausted() const {
  return isTimeUp_ || resourcesRead_ >= policy_.maximumResources || remainingBytes_ < 1;
}

bool ReadBudget::hasResultFor(const FingerprintedMediaFile& file) const {
  return sources_.contains(file.sourceFingerprint) ||
         (file.pendingProcessedFingerprint && sources_.contains(*file.pendingProcessedFingerprint)) ||
         (file.mediaPayloadFingerprint && payloads_.contains(*file.mediaPayloadFingerprint));
}

// Subtracts instead of comparing with an end: the start plus an unlimited time would overflow the clock.
std::chrono::nanoseconds ReadBudget::timeLeft() const { return policy_.passTimeout - (now_() - start_); }

ResourceReadResult ReadBudget::read(const std::string& id, std::chrono::nanoseconds timeout) {
  ResourceReadResult result = read_(id, remainingBytes_, timeout);
  // A read that ended because the search's time was up met a limit; it did not fail.
  if (result.kind == ResourceReadResult::Case::unavailable &&
      timeLeft() <= std::chrono::nanoseconds::zero()) {
    result.kind = ResourceReadResult::Case::budgetExceeded;
  }
  remainingBytes_ -= std::clamp<std::int64_t>(result.bytes, 0, remainingBytes_);
  ++resourcesRead_;
  return result;
}

void ReadBudget::store(std::uint32_t resource, ResourceReadResult result) {
  if (result.kind == ResourceReadResult::Case::available) {
    sources_.insert(result.identity.sourceFingerprint);
    if (result.identity.mediaPayloadFingerprint) {
      payloads_.insert(*result.identity.mediaPayloadFingerprint);
    }
  }
  states_[resource] = stateAfter(result.kind);
  stored_[resource] = static_cast<std::uint32_t>(results_.size());
  results_.push_back(std::move(result));
}

}  // namespace tolvander
