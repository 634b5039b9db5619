#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Recognition/NamedCandidates.h"

namespace tolvander {

// A candidate as its neighbours see it.
struct Neighbour {
  Date creationDate;
  CandidateIndex candidate = 0;
  NamedCandidates::Name name = 0;
};

// The candidates of other names with which one file may be compared, in the order in which they are to be:
// usually from the nearest to the farthest by date. Made by CandidateNeighbourhood, which must outlive it.
class Neighbours {
 public:
  // How many there were to begin with.
  std::size_t count() const { return count_; }

  // Takes the first of them for which `isWanted` holds, and leaves out those before it. Absent when there is
  // none left.
  template <typename Predicate>
  std::optional<CandidateIndex> next(const Predicate& isWanted);

  // Whether `predicate` holds for one of those that next() has not passed; they are asked in no special
  // order.
  template <typename Predicate>
  bool any(const Predicate& predicate) const;

 private:
  friend class CandidateNeighbourhood;

  // A part of them that is in order: the candidates on one side of a date, from the nearest to it outwards.
  struct Side {
    std::span<const Neighbour> rest;
    Date centre;
  };

  Neighbours(const std::vector<OfflinePhotoRecognizer::Candidate>& candidates, NamedCandidates::Name ownName)
      : candidates_(&candidates), ownName_(ownName) {}

  // Counts those of the own name as well.
  void add(std::span<const Neighbour> rest, Date centre);

  // Whether the first of `left` comes before the first of `right`; the end of a side comes last.
  bool precedes(const Side& left, const Side& right) const;

  const std::vector<OfflinePhotoRecognizer::Candidate>* candidates_;
  NamedCandidates::Name ownName_;
  std::array<Side, 4> sides_;
  std::size_t sideCount_ = 0;
  std::size_t count_ = 0;
};

// The candidates of a search by their dates, without those of known identity. What it is made of must outlive
// it.
class CandidateNeighbourhood {
 public:
  CandidateNeighbourhood(const std::vector<OfflinePhotoRecognizer::Candidate>& candidates,
                         const NamedCandidates& names);

  // The candidates with a creation date at most RecognitionPolicy::searchSpan away from one of `dates`
  // (ascending, at most two) and with another name than `ownName`: the nearest first, and of those at equal
  // distance the one with the smaller id. None without dates.
  Neighbours around(const std::vector<Date>& dates, NamedCandidates::Name ownName) const;

  // All candidates with another name than `ownName`, in the order of the list.
  Neighbours all(NamedCandidates::Name ownName) const;

  // The candidates created at most `span` before or after `date`, by their dates.
  std::span<const Neighbour> within(DateDistance span, Date date) const;

 private:
  // The candidates from `date` to `latest`, and those before `date` down to `earliest`, in either case no
  // farther than the search span.
  std::span<const Neighbour> from(Date date, Date latest) const;
  std::span<const Neighbour> before(Date date, Date earliest) const;

  const std::vector<OfflinePhotoRecognizer::Candidate>& candidates_;
  const NamedCandidates& names_;
  std::vector<Neighbour> listed_;      // all, in the order of the list
  std::vector<Neighbour> ascending_;   // those with a date, by date, then by id
  std::vector<Neighbour> descending_;  // the same from the latest date to the earliest, then by id
};

template <typename Predicate>
std::optional<CandidateIndex> Neighbours::next(const Predicate& isWanted) {
  const auto sides = std::span(sides_).first(sideCount_);
  for (Side& side : sides) {
    const auto first = std::find_if(side.rest.begin(), side.rest.end(), [&](const Neighbour& neighbour) {
      return neighbour.name != ownName_ && isWanted(neighbour.candidate);
    });
    side.rest = {first, side.rest.end()};
  }
  const auto nearest =
      std::min_element(sides.begin(), sides.end(),
                       [this](const Side& left, const Side& right) { return precedes(left, right); });
  if (nearest == sides.end() || nearest->rest.empty()) {
    return std::nullopt;
  }
  const CandidateIndex candidate = nearest->rest.front().candidate;
  nearest->rest = nearest->rest.subspan(1);
  return candidate;
}

template <typename Predicate>
bool Neighbours::any(const Predicate& predicate) const {
  for (const Side& side : std::span(sides_).first(sideCount_)) {
    for (const Neighbour& neighbour : side.rest) {
      if (neighbour.name != ownName_ && predicate(neighbour.candidate)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace tolvander
