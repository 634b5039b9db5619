#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"
#include "TolvanderCore/Recognition/NamedCandidates.h"
#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander {

// The reads of one search: each resource at most once, and none beyond the policy's bounds on reads, bytes
// and time. A candidate of known identity has its result from the beginning. The time begins when this is
// made. What it is made of must outlive it.
class BudgetedReads {
 public:
  using Candidate = OfflinePhotoRecognizer::Candidate;
  using ReadResult = OfflinePhotoRecognizer::ReadResult;

  // Where the resource of a candidate stands; a set of them is their sum.
  enum State : std::uint8_t { unread = 1, available = 2, unavailable = 4, notLocal = 8, budgetExceeded = 16 };

  BudgetedReads(const std::vector<Candidate>& candidates, const RecognitionPolicy& policy,
                const OfflinePhotoRecognizer::Now& now, const OfflinePhotoRecognizer::Read& read);

  // The result of reading the candidate's resource, which is stored, or else read now. Null where the budget
  // doesn't allow the read. Valid until the next call.
  const ReadResult* result(CandidateIndex candidate);

  State state(CandidateIndex candidate) const { return states_[resources_[candidate]]; }

  // How many results are stored, and whether the candidate's is among the first `count` of them.
  std::size_t count() const { return results_.size(); }
  bool isAmongFirst(std::size_t count, CandidateIndex candidate) const {
    return stored_[resources_[candidate]] < count;
  }

  // Whether it is known already that nothing more can be read: a budget that is used up stays so.
  bool isExhausted() const;

  // Whether some stored result has one of the file's identities.
  bool haveFound(const FingerprintedMediaFile& file) const;

 private:
  std::chrono::nanoseconds timeLeft() const;
  ReadResult read(const std::string& id, std::chrono::nanoseconds timeout);
  void store(std::uint32_t resource, ReadResult result);

  static constexpr std::uint32_t notStored = std::numeric_limits<std::uint32_t>::max();

  const std::vector<Candidate>& candidates_;
  const RecognitionPolicy& policy_;
  const OfflinePhotoRecognizer::Now& now_;
  const OfflinePhotoRecognizer::Read& read_;
  const OfflinePhotoRecognizer::Instant start_;
  std::int64_t resourcesRead_ = 0;
  std::int64_t remainingBytes_;
  bool isTimeUp_ = false;

  std::vector<std::uint32_t> resources_;  // of each candidate: the first candidate with its id
  std::vector<State> states_;             // of each resource
  std::vector<std::uint32_t> stored_;     // of each resource: the position of its result, or `notStored`
  std::deque<ReadResult> results_;
  std::unordered_set<std::string> sources_;   // of all available results
  std::unordered_set<std::string> payloads_;  // likewise
};

}  // namespace tolvander
