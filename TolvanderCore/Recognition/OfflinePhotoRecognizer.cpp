#include "TolvanderCore/OfflinePhotoRecognizer.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "TolvanderCore/Platform/Text.h"
#include "TolvanderCore/Recognition/CandidatesByDate.h"
#include "TolvanderCore/Recognition/CandidatesByName.h"
#include "TolvanderCore/Recognition/ReadBudget.h"

namespace tolvander {

namespace {

using Candidate = OfflinePhotoRecognizer::Candidate;
using Identity = OfflinePhotoRecognizer::Identity;
using ReadResult = OfflinePhotoRecognizer::ReadResult;

// The dates of a camera file and of the library item that was imported from it differ by at most this much.
constexpr std::chrono::seconds sameMoment{2};

// A camera file that is being searched for.
struct Target {
  const FingerprintedMediaFile& file;
  CandidatesByName::Name name;
  std::optional<Date> date;  // its capture date, or else its modification date

  // Why it remains undecided, unless a later candidate settles it.
  bool isUnchecked = false;   // some candidate could not be compared with it
  bool isOverBudget = false;  // and a limit was a reason

  void markOverBudget() { isUnchecked = isOverBudget = true; }

  // Records whether candidates that didn't match leave the file undecided, and why.
  void noteUnsettled(ReadStates states) {
    if (states.contains(ReadState::unread) || states.contains(ReadState::budgetExceeded)) {
      markOverBudget();
    }
    const bool mayBeRemote = file.requiresExactReconciliation && states.contains(ReadState::notLocal);
    if (states.contains(ReadState::unavailable) || mayBeRemote) {
      isUnchecked = true;
    }
  }
};

bool haveEqualDates(const Target& target, const Candidate& candidate) {
  return target.date && candidate.creationDate &&
         distanceBetween(*target.date, *candidate.creationDate) <= sameMoment;
}

bool isVideo(const std::optional<MediaMetadata>& metadata) {
  return metadata && metadata->kind == MediaMetadata::Kind::video;
}

bool identityAgrees(const FingerprintedMediaFile& file, const Identity& identity) {
  return file.pendingProcessedFingerprint == identity.sourceFingerprint ||
         file.sourceFingerprint == identity.sourceFingerprint ||
         (file.mediaPayloadFingerprint && file.mediaPayloadFingerprint == identity.mediaPayloadFingerprint);
}

// The candidates of known identity by their fingerprints. Of several with the same content, the first in the
// list counts. `candidates` must outlive the object.
class KnownCandidates {
 public:
  explicit KnownCandidates(const std::vector<Candidate>& candidates) {
    for (const Candidate& candidate : candidates) {
      if (!candidate.identity) {
        continue;
      }
      bySource_.try_emplace(candidate.identity->sourceFingerprint, &candidate);
      if (candidate.identity->mediaPayloadFingerprint) {
        byPayload_.try_emplace(*candidate.identity->mediaPayloadFingerprint, &candidate);
      }
    }
  }

  // Null if none has one of the file's identities.
  const Candidate* find(const FingerprintedMediaFile& file) const {
    if (file.pendingProcessedFingerprint) {
      if (const Candidate* known = find(bySource_, *file.pendingProcessedFingerprint)) {
        return known;
      }
    }
    if (const Candidate* known = find(bySource_, file.sourceFingerprint)) {
      return known;
    }
    return file.mediaPayloadFingerprint ? find(byPayload_, *file.mediaPayloadFingerprint) : nullptr;
  }

 private:
  using Map = std::unordered_map<std::string_view, const Candidate*>;

  static const Candidate* find(const Map& map, std::string_view fingerprint) {
    const auto found = map.find(fingerprint);
    return found == map.end() ? nullptr : found->second;
  }

  Map bySource_;
  Map byPayload_;
};

class Search {
 public:
  Search(const std::vector<FingerprintedMediaFile>& files, const std::vector<Candidate>& candidates,
         const RecognitionPolicy& policy, bool broader, const OfflinePhotoRecognizer::Now& now,
         const OfflinePhotoRecognizer::Read& read, const CancellationToken& token)
      : files_(files),
        candidates_(candidates),
        policy_(policy),
        broader_(broader),
        token_(token),
        names_(candidates),
        known_(candidates),
        reads_(candidates, policy, now, read) {}

  LibraryReconciliation run(const std::set<std::string>& truncatedSources) {
    for (const FingerprintedMediaFile& file : files_) {
      if (truncatedSources.contains(file.sourceFingerprint)) {
        result_.unchecked.insert(file.sourceFingerprint);
        overBudget_.insert(file.sourceFingerprint);
      }
    }
    for (const FingerprintedMediaFile& file : files_) {
      search(file, &Search::isSettledByKnownContentOrNamesakes);
    }
    for (const FingerprintedMediaFile& file : files_) {
      search(file, &Search::isSettledByNearest);
    }
    std::ranges::set_intersection(result_.unchecked, overBudget_,
                                  std::inserter(result_.limited, result_.limited.end()));
    result_.budgetExceeded = !result_.limited.empty();
    return std::move(result_);
  }

 private:
  // One part of the search for a file. Returns whether it settled the file.
  using Pass = bool (Search::*)(Target&);

  void search(const FingerprintedMediaFile& file, Pass pass) {
    if (result_.matches.contains(file.sourceFingerprint) ||
        result_.metadataMatches.contains(file.sourceFingerprint)) {
      return;
    }
    token_.throwIfCancelled();
    const auto kind = file.metadata ? std::optional(file.metadata->kind) : std::nullopt;
    Target target{.file = file,
                  .name = names_.name(file.file.filename, kind),
                  .date = file.captureDate ? file.captureDate : file.file.modifiedAt};
    if ((this->*pass)(target)) {
      result_.unchecked.erase(file.sourceFingerprint);
      return;
    }
    if (target.isUnchecked) {
      result_.unchecked.insert(file.sourceFingerprint);
    }
    if (target.isOverBudget) {
      overBudget_.insert(file.sourceFingerprint);
    }
  }

  bool isSettledByKnownContent(const FingerprintedMediaFile& file) {
    const Candidate* const known = known_.find(file);
    if (known == nullptr) {
      return false;
    }
    recordMatch(file, known->assetIdentifier, *known->identity);
    return true;
  }

  void recordMatch(const FingerprintedMediaFile& file, const std::string& assetIdentifier,
                   const Identity& identity) {
    result_.matches[file.sourceFingerprint] = {.assetIdentifier = assetIdentifier,
                                               .resourceFingerprint = identity.sourceFingerprint,
                                               .mediaPayloadFingerprint = identity.mediaPayloadFingerprint};
  }

  bool isSettledByKnownContentOrNamesakes(Target& target) {
    if (isSettledByKnownContent(target.file)) {
      return true;
    }
    const auto namesakes = names_.named(target.name);
    return std::any_of(namesakes.begin(), namesakes.end(),
                       [&](CandidateIndex namesake) { return isSettledBy(namesake, target); });
  }

  bool isSettledByNearest(Target& target) {
    NearestFirst nearest = nearestTo(target);
    const auto count = static_cast<std::int64_t>(nearest.count());
    const bool isCut = count > policy_.nearbyCandidatesPerFile;
    if (isCut) {
      target.markOverBudget();
    }
    if (storedResultsMaySettle(target) || (isCut && !reads_.isExhausted())) {
      return isSettledByNext(std::min(count, policy_.nearbyCandidatesPerFile), nearest, target,
                             [](CandidateIndex) { return true; });
    }
    // No stored result can settle the file; it can only be a reason to leave it unchecked, and the order of
    // such reasons doesn't matter. Comparing thousands of them again for every file would take most of the
    // time.
    if (!reads_.isExhausted()) {
      NearestFirst remaining = nearest;
      const std::size_t known = reads_.resultCount();
      if (isSettledByNext(count, remaining, target, [&](CandidateIndex candidate) {
            return !reads_.isAmongFirstResults(known, candidate);
          })) {
        return true;
      }
    }
    if (!isCut) {
      target.noteUnsettled(statesOf(nearest));
    }
    return false;
  }

  // Compares the file with the first `count` of the nearest candidates for which `isWanted` holds.
  template <typename Predicate>
  bool isSettledByNext(std::int64_t count, NearestFirst& nearest, Target& target, const Predicate& isWanted) {
    for (; count > 0; --count) {
      const std::optional<CandidateIndex> candidate = nearest.next(isWanted);
      if (!candidate) {
        return false;
      }
      if (isSettledBy(*candidate, target)) {
        return true;
      }
    }
    return false;
  }

  NearestFirst nearestTo(const Target& target) {
    if (!byDate_) {
      byDate_.emplace(candidates_, names_);
    }
    const std::vector<Date> dates = RecognitionPolicy::searchDates(target.file);
    return broader_ && dates.empty() ? byDate_->all(target.name) : byDate_->around(dates, target.name);
  }

  // The states of all these candidates; incomplete if one of them is `unread`, which decides alone.
  ReadStates statesOf(const NearestFirst& candidates) const {
    ReadStates states;
    candidates.any([&](CandidateIndex candidate) {
      states.insert(reads_.state(candidate));
      return states.contains(ReadState::unread);
    });
    return states;
  }

  // Whether a stored result could settle the file.
  bool storedResultsMaySettle(const Target& target) const {
    if (reads_.hasResultFor(target.file)) {
      return true;
    }
    if (target.file.requiresExactReconciliation || !target.date) {
      return false;
    }
    const auto sameDate = byDate_->within(sameMoment, *target.date);
    return std::any_of(sameDate.begin(), sameDate.end(), [&](const DatedCandidate& dated) {
      return reads_.state(dated.candidate) == ReadState::notLocal &&
             equalIgnoringCase(target.file.file.filename, candidates_[dated.candidate].filename);
    });
  }

  bool isSettledBy(CandidateIndex index, Target& target) {
    token_.throwIfCancelled();
    const Candidate& candidate = candidates_[index];
    const ReadResult* const result = reads_.result(index);
    if (result != nullptr && result->kind == ReadResult::Case::available &&
        identityAgrees(target.file, result->identity)) {
      recordMatch(target.file, candidate.assetIdentifier, result->identity);
      return true;
    }
    if (metadataAgrees(target, index)) {
      result_.metadataMatches[target.file.sourceFingerprint] = candidate.assetIdentifier;
      return true;
    }
    if (result != nullptr && result->kind == ReadResult::Case::notLocal &&
        !target.file.requiresExactReconciliation) {
      return isSettledByCloudItem(candidate, target);
    }
    target.noteUnsettled(ReadStates(reads_.state(index)));
    return false;
  }

  // For videos only: a video that was rewrapped on import has other bytes than the camera's file.
  bool metadataAgrees(const Target& target, CandidateIndex index) const {
    const FingerprintedMediaFile& file = target.file;
    const Candidate& candidate = candidates_[index];
    return !file.requiresExactReconciliation && isVideo(file.metadata) && isVideo(candidate.metadata) &&
           names_.nameOf(index) == target.name && haveEqualDates(target, candidate) &&
           file.metadata->matches(*candidate.metadata);
  }

  // The item's bytes are not on this computer, so name, date, size and duration decide.
  bool isSettledByCloudItem(const Candidate& candidate, Target& target) {
    const FingerprintedMediaFile& file = target.file;
    if (!haveEqualDates(target, candidate) || !equalIgnoringCase(file.file.filename, candidate.filename)) {
      return false;
    }
    if (!file.metadata || !candidate.metadata) {
      target.isUnchecked = true;
      return false;
    }
    if (!file.metadata->matches(*candidate.metadata)) {
      return false;
    }
    result_.metadataMatches[file.sourceFingerprint] = candidate.assetIdentifier;
    return true;
  }

  const std::vector<FingerprintedMediaFile>& files_;
  const std::vector<Candidate>& candidates_;
  const RecognitionPolicy& policy_;
  const bool broader_;
  const CancellationToken& token_;
  CandidatesByName names_;
  KnownCandidates known_;
  ReadBudget reads_;
  std::optional<CandidatesByDate> byDate_;  // made when the first file is searched for by its dates
  LibraryReconciliation result_;
  // Files that a limit left unchecked. Some of them may have been settled since.
  std::set<std::string> overBudget_;
};

}  // namespace

LibraryReconciliation OfflinePhotoRecognizer::reconcile(const std::vector<FingerprintedMediaFile>& files,
                                                        const std::vector<Candidate>& candidates,
                                                        const RecognitionPolicy& policy, bool broader,
                                                        const std::set<std::string>& truncatedSources,
                                                        const Now& now, const Read& read,
                                                        const CancellationToken& token) {
  return Search(files, candidates, policy, broader, now, read, token).run(truncatedSources);
}

}  // namespace tolvander
