#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Recognition/CandidatesByName.h"

namespace tolvander {

// The date, position and name of one candidate.
struct DatedCandidate {
  Date creationDate;
  CandidateIndex candidate = 0;
  CandidatesByName::Name name = 0;
};

// A queue of the candidates with which one file may be compared, usually from the nearest to the farthest by
// date. It leaves out the candidates that have the file's own name. Made by CandidatesByDate, which must
// outlive it. A small value: a copy is a second queue over the same candidates.
class NearestFirst {
 public:
  // The number of candidates at the start; next() doesn't change it.
  std::size_t count() const { return count_; }

  // Removes and returns the first candidate for which `isWanted` holds; those before it are removed too.
  // Absent if there is none. Takes constant time for each candidate removed.
  template <typename Predicate>
  std::optional<CandidateIndex> next(const Predicate& isWanted);

  // Whether `predicate` holds for a candidate that next() has not removed. Asks them in no particular order.
  template <typename Predicate>
  bool any(const Predicate& predicate) const;

 private:
  friend class CandidatesByDate;

  // Candidates on one side of a date, sorted by their distance from it. The queue merges up to four runs.
  struct Run {
    std::span<const DatedCandidate> rest;
    Date centre;
  };

  NearestFirst(const std::vector<RecognitionCandidate>& candidates, CandidatesByName::Name ownName)
      : candidates_(&candidates), ownName_(ownName) {}

  // Adds a run and its length, which includes the candidates of the file's own name, to count().
  void add(std::span<const DatedCandidate> rest, Date centre);

  // Whether the first of `left` comes before the first of `right`. An empty run comes last.
  bool precedes(const Run& left, const Run& right) const;

  const std::vector<RecognitionCandidate>* candidates_;
  CandidatesByName::Name ownName_;
  std::array<Run, 4> runs_;
  std::size_t runCount_ = 0;
  std::size_t count_ = 0;
};

// The candidates of a search by their dates, without those of known identity.
//
// It keeps the candidates sorted by date in both directions. A file's nearest candidates are then found in
// logarithmic time and taken one by one, where sorting all candidates by their distance from each file would
// take time in proportion to files times candidates (Benchmarks/RecognizerBenchmark.cpp). The constructor's
// arguments must outlive the object.
class CandidatesByDate {
 public:
  CandidatesByDate(const std::vector<RecognitionCandidate>& candidates, const CandidatesByName& names);

  // The candidates with another name than `ownName` that were created at most RecognitionPolicy::searchSpan
  // before or after one of `dates` (ascending, at most two). The nearest comes first, and at equal distance
  // the one with the smaller id. Empty without dates.
  NearestFirst around(const std::vector<Date>& dates, CandidatesByName::Name ownName) const;

  // All candidates with another name than `ownName`, in the order of the list.
  NearestFirst all(CandidatesByName::Name ownName) const;

  // The candidates created at most `span` before or after `date`, in the order of their dates.
  std::span<const DatedCandidate> within(DateDistance span, Date date) const;

 private:
  // The candidates from `date` to `latest`, and those before `date` back to `earliest`; both at most the
  // search span away from `date`.
  std::span<const DatedCandidate> from(Date date, Date latest) const;
  std::span<const DatedCandidate> before(Date date, Date earliest) const;

  const std::vector<RecognitionCandidate>& candidates_;
  const CandidatesByName& names_;
  std::vector<DatedCandidate>
      listed_;  // in the order of the list; without a date, `creationDate` is not used

  // Those with a date, sorted by date and then by id. Ascending and descending differ in the dates' order
  // only.
  std::vector<DatedCandidate> ascending_;
  std::vector<DatedCandidate> descending_;
};

template <typename Predicate>
std::optional<CandidateIndex> NearestFirst::next(const Predicate& isWanted) {
  const auto runs = std::span(runs_).first(runCount_);
  for (Run& run : runs) {
    const auto first = std::find_if(run.rest.begin(), run.rest.end(), [&](const DatedCandidate& dated) {
      return dated.name != ownName_ && isWanted(dated.candidate);
    });
    run.rest = {first, run.rest.end()};
  }
  const auto nearest = std::min_element(
      runs.begin(), runs.end(), [this](const Run& left, const Run& right) { return precedes(left, right); });
  if (nearest == runs.end() || nearest->rest.empty()) {
    return std::nullopt;
  }
  const CandidateIndex candidate = nearest->rest.front().candidate;
  nearest->rest = nearest->rest.subspan(1);
  return candidate;
}

template <typename Predicate>
bool NearestFirst::any(const Predicate& predicate) const {
  for (const Run& run : std::span(runs_).first(runCount_)) {
    for (const DatedCandidate& dated : run.rest) {
      if (dated.name != ownName_ && predicate(dated.candidate)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace tolvander
