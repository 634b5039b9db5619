#include "TolvanderCore/Recognition/BudgetedReads.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tolvander {

namespace {

BudgetedReads::State stateAfter(OfflinePhotoRecognizer::ReadResult::Case end) {
  using Case = OfflinePhotoRecognizer::ReadResult::Case;
  switch (end) {
    case Case::available:
      return BudgetedReads::available;
    case Case::unavailable:
      return BudgetedReads::unavailable;
    case Case::notLocal:
      return BudgetedReads::notLocal;
    case Case::budgetExceeded:
      break;
  }
  return BudgetedReads::budgetExceeded;
}

}  // namespace

BudgetedReads::BudgetedReads(const std::vector<Candidate>& candidates, const RecognitionPolicy& policy,
                             const OfflinePhotoRecognizer::Now& now, const OfflinePhotoRecognizer::Read& read)
    : candidates_(candidates),
      policy_(policy),
      now_(now),
      read_(read),
      start_(now()),
      remainingBytes_(policy.maximumBytes),
      states_(candidates.size(), unread),
      stored_(candidates.size(), notStored) {
  std::unordered_map<std::string_view, std::uint32_t> firstWithId;
  firstWithId.reserve(candidates.size());
  resources_.reserve(candidates.size());
  for (const Candidate& candidate : candidates) {
    const auto index = static_cast<std::uint32_t>(resources_.size());
    resources_.push_back(firstWithId.try_emplace(candidate.id, index).first->second);
    if (candidate.identity && resources_.back() == index) {
      store(index, ReadResult::available(*candidate.identity, 0));
    }
  }
}

const OfflinePhotoRecognizer::ReadResult* BudgetedReads::result(CandidateIndex candidate) {
  const std::uint32_t resource = resources_[candidate];
  if (states_[resource] == unread) {
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

bool BudgetedReads::isExhausted() const {
  return isTimeUp_ || resourcesRead_ >= policy_.maximumResources || remainingBytes_ < 1;
}

bool BudgetedReads::haveFound(const FingerprintedMediaFile& file) const {
  return sources_.contains(file.sourceFingerprint) ||
         (file.pendingProcessedFingerprint && sources_.contains(*file.pendingProcessedFingerprint)) ||
         (file.mediaPayloadFingerprint && payloads_.contains(*file.mediaPayloadFingerprint));
}

// Counted from the start, because a policy without a bound on time would carry the start past the end of the
// clock.
std::chrono::nanoseconds BudgetedReads::timeLeft() const { return policy_.passTimeout - (now_() - start_); }

OfflinePhotoRecognizer::ReadResult BudgetedReads::read(const std::string& id,
                                                       std::chrono::nanoseconds timeout) {
  ReadResult result = read_(id, remainingBytes_, timeout);
  // A read that ran out of the search's time met a limit, it did not fail.
  if (result.kind == ReadResult::Case::unavailable && timeLeft() <= std::chrono::nanoseconds::zero()) {
    result.kind = ReadResult::Case::budgetExceeded;
  }
  remainingBytes_ -= std::clamp<std::int64_t>(result.bytes, 0, remainingBytes_);
  ++resourcesRead_;
  return result;
}

void BudgetedReads::store(std::uint32_t resource, ReadResult result) {
  if (result.kind == ReadResult::Case::available) {
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
