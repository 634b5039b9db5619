#include "TolvanderCore/OfflinePhotoRecognizer.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "TolvanderCore/Platform/Text.h"
#include "TolvanderCore/Recognition/BudgetedReads.h"
#include "TolvanderCore/Recognition/CandidateNeighbourhood.h"
#include "TolvanderCore/Recognition/NamedCandidates.h"

namespace tolvander {

namespace {

using Candidate = OfflinePhotoRecognizer::Candidate;
using Identity = OfflinePhotoRecognizer::Identity;
using ReadResult = OfflinePhotoRecognizer::ReadResult;

// How far apart the dates of a camera file and of its own item in the library may lie.
constexpr std::chrono::seconds sameMoment{2};

// A camera file while it is searched for.
struct Wanted {
  const FingerprintedMediaFile& file;
  NamedCandidates::Name name;
  std::optional<Date> date;  // its capture date, or else its modification date

  // Why it may remain without a verdict.
  bool isUnchecked = false;      // some candidate could not be compared with it
  bool isBudgetBlocked = false;  // and a limit was the reason

  void block() { isUnchecked = isBudgetBlocked = true; }

  // Takes in how one or several candidates that proved nothing stand.
  void doubt(unsigned states) {
    if ((states & (BudgetedReads::unread | BudgetedReads::budgetExceeded)) != 0) {
      block();
    }
    const bool hasCloudDoubt = file.requiresExactReconciliation && (states & BudgetedReads::notLocal) != 0;
    if ((states & BudgetedReads::unavailable) != 0 || hasCloudDoubt) {
      isUnchecked = true;
    }
  }
};

bool haveEqualDates(const Wanted& wanted, const Candidate& candidate) {
  return wanted.date && candidate.creationDate &&
         distanceBetween(*wanted.date, *candidate.creationDate) <= sameMoment;
}

bool isVideo(const std::optional<MediaMetadata>& metadata) {
  return metadata && metadata->kind == MediaMetadata::Kind::video;
}

bool identityAgrees(const FingerprintedMediaFile& file, const Identity& identity) {
  return file.pendingProcessedFingerprint == identity.sourceFingerprint ||
         file.sourceFingerprint == identity.sourceFingerprint ||
         (file.mediaPayloadFingerprint && file.mediaPayloadFingerprint == identity.mediaPayloadFingerprint);
}

// The candidates of known identity by what identifies them. Of several with the same content the first one
// counts. `candidates` must outlive it.
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

  // Null where none has one of the file's identities.
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
        budgetBlocked_.insert(file.sourceFingerprint);
      }
    }
    for (const FingerprintedMediaFile& file : files_) {
      search(file, &Search::isSettledByKnownContentOrNamesakes);
    }
    for (const FingerprintedMediaFile& file : files_) {
      search(file, &Search::isSettledByNeighbours);
    }
    std::ranges::set_intersection(result_.unchecked, budgetBlocked_,
                                  std::inserter(result_.limited, result_.limited.end()));
    result_.budgetExceeded = !result_.limited.empty();
    return std::move(result_);
  }

 private:
  // One way through the candidates for a file; returns whether it settled the file.
  using Pass = bool (Search::*)(Wanted&);

  void search(const FingerprintedMediaFile& file, Pass pass) {
    if (result_.matches.contains(file.sourceFingerprint) ||
        result_.metadataMatches.contains(file.sourceFingerprint)) {
      return;
    }
    token_.throwIfCancelled();
    const auto kind = file.metadata ? std::optional(file.metadata->kind) : std::nullopt;
    Wanted wanted{.file = file,
                  .name = names_.name(file.file.filename, kind),
                  .date = file.captureDate ? file.captureDate : file.file.modifiedAt};
    if ((this->*pass)(wanted)) {
      result_.unchecked.erase(file.sourceFingerprint);
      return;
    }
    if (wanted.isUnchecked) {
      result_.unchecked.insert(file.sourceFingerprint);
    }
    if (wanted.isBudgetBlocked) {
      budgetBlocked_.insert(file.sourceFingerprint);
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

  bool isSettledByKnownContentOrNamesakes(Wanted& wanted) {
    if (isSettledByKnownContent(wanted.file)) {
      return true;
    }
    const auto namesakes = names_.named(wanted.name);
    return std::any_of(namesakes.begin(), namesakes.end(),
                       [&](CandidateIndex namesake) { return isSettledBy(namesake, wanted); });
  }

  bool isSettledByNeighbours(Wanted& wanted) {
    Neighbours neighbours = neighboursOf(wanted);
    const auto count = static_cast<std::int64_t>(neighbours.count());
    const bool isCut = count > policy_.nearbyCandidatesPerFile;
    if (isCut) {
      wanted.block();
    }
    if (storedResultsMayTell(wanted) || (isCut && !reads_.isExhausted())) {
      return isSettledByNext(std::min(count, policy_.nearbyCandidatesPerFile), neighbours, wanted,
                             [](CandidateIndex) { return true; });
    }
    // What is read already can't settle the file, it can only leave doubts, and their order doesn't matter.
    // To judge each of thousands anew for every file would take most of the search's time.
    if (!reads_.isExhausted()) {
      Neighbours remaining = neighbours;
      const std::size_t known = reads_.count();
      if (isSettledByNext(count, remaining, wanted,
                          [&](CandidateIndex candidate) { return !reads_.isAmongFirst(known, candidate); })) {
        return true;
      }
    }
    if (!isCut) {
      wanted.doubt(statesOf(neighbours));
    }
    return false;
  }

  // Compares the file with the first `count` neighbours for which `isWanted` holds.
  template <typename Predicate>
  bool isSettledByNext(std::int64_t count, Neighbours& neighbours, Wanted& wanted,
                       const Predicate& isWanted) {
    for (; count > 0; --count) {
      const std::optional<CandidateIndex> neighbour = neighbours.next(isWanted);
      if (!neighbour) {
        return false;
      }
      if (isSettledBy(*neighbour, wanted)) {
        return true;
      }
    }
    return false;
  }

  Neighbours neighboursOf(const Wanted& wanted) {
    if (!neighbourhood_) {
      neighbourhood_.emplace(candidates_, names_);
    }
    const std::vector<Date> dates = RecognitionPolicy::searchDates(wanted.file);
    return broader_ && dates.empty() ? neighbourhood_->all(wanted.name)
                                     : neighbourhood_->around(dates, wanted.name);
  }

  // The states of them all, or at least `unread` if that is among them.
  unsigned statesOf(const Neighbours& neighbours) const {
    unsigned states = 0;
    neighbours.any([&](CandidateIndex candidate) {
      states |= reads_.state(candidate);
      return (states & BudgetedReads::unread) != 0;
    });
    return states;
  }

  // Whether a result at hand can tell more of a file than that some candidate could not be compared with it.
  bool storedResultsMayTell(const Wanted& wanted) const {
    if (reads_.haveFound(wanted.file)) {
      return true;
    }
    if (wanted.file.requiresExactReconciliation || !wanted.date) {
      return false;
    }
    const auto sameDate = neighbourhood_->within(sameMoment, *wanted.date);
    return std::any_of(sameDate.begin(), sameDate.end(), [&](const Neighbour& neighbour) {
      return reads_.state(neighbour.candidate) == BudgetedReads::notLocal &&
             equalIgnoringCase(wanted.file.file.filename, candidates_[neighbour.candidate].filename);
    });
  }

  bool isSettledBy(CandidateIndex index, Wanted& wanted) {
    token_.throwIfCancelled();
    const Candidate& candidate = candidates_[index];
    const ReadResult* const result = reads_.result(index);
    if (result != nullptr && result->kind == ReadResult::Case::available &&
        identityAgrees(wanted.file, result->identity)) {
      recordMatch(wanted.file, candidate.assetIdentifier, result->identity);
      return true;
    }
    if (metadataAgrees(wanted, index)) {
      result_.metadataMatches[wanted.file.sourceFingerprint] = candidate.assetIdentifier;
      return true;
    }
    if (result != nullptr && result->kind == ReadResult::Case::notLocal &&
        !wanted.file.requiresExactReconciliation) {
      return isSettledByCloudItem(candidate, wanted);
    }
    wanted.doubt(reads_.state(index));
    return false;
  }

  // Of videos alone: one that was rewrapped on import has other bytes than the camera's file.
  bool metadataAgrees(const Wanted& wanted, CandidateIndex index) const {
    const FingerprintedMediaFile& file = wanted.file;
    const Candidate& candidate = candidates_[index];
    return !file.requiresExactReconciliation && isVideo(file.metadata) && isVideo(candidate.metadata) &&
           names_.nameOf(index) == wanted.name && haveEqualDates(wanted, candidate) &&
           file.metadata->matches(*candidate.metadata);
  }

  // Its bytes are out of reach, so name, date and appearance have to do.
  bool isSettledByCloudItem(const Candidate& candidate, Wanted& wanted) {
    const FingerprintedMediaFile& file = wanted.file;
    if (!haveEqualDates(wanted, candidate) || !equalIgnoringCase(file.file.filename, candidate.filename)) {
      return false;
    }
    if (!file.metadata || !candidate.metadata) {
      wanted.isUnchecked = true;
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
  NamedCandidates names_;
  KnownCandidates known_;
  BudgetedReads reads_;
  std::optional<CandidateNeighbourhood> neighbourhood_;  // once a file is looked for by its dates
  LibraryReconciliation result_;
  // Files for which a limit was a reason to be unchecked; they may have been settled since.
  std::set<std::string> budgetBlocked_;
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
