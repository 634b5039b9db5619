#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Recognition/Candidate.h"
#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander {

// What is known of the resource of a candidate.
enum class ReadState : std::uint8_t { unread, available, unavailable, notLocal, budgetExceeded };

// The states of several candidates, each counted once.
class ReadStates {
 public:
  ReadStates() = default;
  explicit ReadStates(ReadState state) { insert(state); }

  void insert(ReadState state) { bits_ |= bit(state); }
  bool contains(ReadState state) const { return (bits_ & bit(state)) != 0; }

 private:
  static unsigned bit(ReadState state) { return 1U << static_cast<unsigned>(state); }

  unsigned bits_ = 0;
};

// Makes the reads of one search within the policy's limits on reads, bytes and time, and stores their
// results: each resource is read at most once, however many candidates share it. Candidates of known identity
// have their results from the start.
//
// The time limit counts from the construction. The constructor's arguments must outlive the object. One
// thread only.
class ReadBudget {
 public:
  ReadBudget(const std::vector<RecognitionCandidate>& candidates, const RecognitionPolicy& policy,
             const RecognitionClock& now, const ResourceRead& read);

  // The result for the candidate's resource, which is read now if it was not read before. Null if the budget
  // doesn't allow the read. Valid until the next call. Throws what the read throws.
  const ResourceReadResult* result(CandidateIndex candidate);

  ReadState state(CandidateIndex candidate) const { return states_[resources_[candidate]]; }

  // The number of stored results.
  std::size_t resultCount() const { return results_.size(); }

  // Whether the candidate's result was one of the first `count` to be stored.
  bool isAmongFirstResults(std::size_t count, CandidateIndex candidate) const {
    return stored_[resources_[candidate]] < count;
  }

  // Whether no more reads are possible. Once true, it stays true.
  bool isExhausted() const;

  // Whether a stored result has one of the file's identities.
  bool hasResultFor(const FingerprintedMediaFile& file) const;

 private:
  std::chrono::nanoseconds timeLeft() const;
  ResourceReadResult read(const std::string& id, std::chrono::nanoseconds timeout);
  void store(std::uint32_t resource, ResourceReadResult result);

  static constexpr std::uint32_t notStored = std::numeric_limits<std::uint32_t>::max();

  const std::vector<RecognitionCandidate>& candidates_;
  const RecognitionPolicy& policy_;
  const RecognitionClock& now_;
  const ResourceRead& read_;
  const RecognitionInstant start_;
  std::int64_t resourcesRead_ = 0;
  std::int64_t remainingBytes_;
  bool isTimeUp_ = false;

  // By candidate: the position of the first candidate with the same id, which numbers their resource.
  std::vector<std::uint32_t> resources_;

  // By resource: its state, and the position of its result in `results_` or `notStored`.
  std::vector<ReadState> states_;
  std::vector<std::uint32_t> stored_;

  std::deque<ResourceReadResult> results_;

  // The fingerprints of all results that are available.
  std::unordered_set<std::string> sources_;
  std::unordered_set<std::string> payloads_;
};

}  // namespace tolvander
