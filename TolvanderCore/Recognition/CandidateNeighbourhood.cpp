#include "TolvanderCore/Recognition/CandidateNeighbourhood.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <tuple>

#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander {

namespace {

// The halfway point of two dates; a date up to it is no farther from the earlier of the two.
Date halfway(Date earlier, Date later) {
  return Date(std::chrono::nanoseconds(
      std::midpoint(earlier.time_since_epoch().count(), later.time_since_epoch().count())));
}

}  // namespace

void Neighbours::add(std::span<const Neighbour> rest, Date centre) {
  count_ += rest.size();
  sides_[sideCount_++] = {.rest = rest, .centre = centre};
}

bool Neighbours::precedes(const Side& left, const Side& right) const {
  if (left.rest.empty() || right.rest.empty()) {
    return !left.rest.empty();
  }
  const Neighbour& first = left.rest.front();
  const Neighbour& second = right.rest.front();
  const DateDistance near = distanceBetween(first.creationDate, left.centre);
  const DateDistance far = distanceBetween(second.creationDate, right.centre);
  return near != far ? near < far : (*candidates_)[first.candidate].id < (*candidates_)[second.candidate].id;
}

CandidateNeighbourhood::CandidateNeighbourhood(
    const std::vector<OfflinePhotoRecognizer::Candidate>& candidates, const NamedCandidates& names)
    : candidates_(candidates), names_(names) {
  listed_.reserve(candidates.size());
  ascending_.reserve(candidates.size());
  for (CandidateIndex index = 0; index < candidates.size(); ++index) {
    if (candidates[index].identity) {
      continue;
    }
    const std::optional<Date>& date = candidates[index].creationDate;
    listed_.push_back({date.value_or(Date()), index, names.nameOf(index)});
    if (date) {
      ascending_.push_back(listed_.back());
    }
  }
  std::sort(ascending_.begin(), ascending_.end(), [&](const Neighbour& left, const Neighbour& right) {
    return left.creationDate != right.creationDate
               ? left.creationDate < right.creationDate
               : std::tie(candidates[left.candidate].id, left.candidate) <
                     std::tie(candidates[right.candidate].id, right.candidate);
  });
  descending_ = ascending_;
  std::stable_sort(descending_.begin(), descending_.end(), [](const Neighbour& left, const Neighbour& right) {
    return left.creationDate > right.creationDate;
  });
}

Neighbours CandidateNeighbourhood::around(const std::vector<Date>& dates,
                                          NamedCandidates::Name ownName) const {
  Neighbours neighbours(candidates_, ownName);
  if (dates.empty()) {
    return neighbours;
  }
  // Between two dates, each candidate belongs to the one that it is nearer to.
  const Date middle = halfway(dates.front(), dates.back());
  for (const Date date : dates) {
    const Date earliest = date == dates.front() ? Date::min() : middle + std::chrono::nanoseconds(1);
    const Date latest = date == dates.back() ? Date::max() : middle;
    neighbours.add(before(date, earliest), date);
    neighbours.add(from(date, latest), date);
  }
  for (const CandidateIndex namesake : names_.named(ownName)) {
    if (candidates_[namesake].identity) {
      continue;
    }
    const std::optional<Date>& created = candidates_[namesake].creationDate;
    const auto isNear = [&](Date date) {
      return distanceBetween(*created, date) <= RecognitionPolicy::searchSpan;
    };
    if (created && std::any_of(dates.begin(), dates.end(), isNear)) {
      --neighbours.count_;
    }
  }
  return neighbours;
}

Neighbours CandidateNeighbourhood::all(NamedCandidates::Name ownName) const {
  Neighbours neighbours(candidates_, ownName);
  neighbours.add(listed_, Date());
  const auto namesakes = names_.named(ownName);
  neighbours.count_ -= static_cast<std::size_t>(std::ranges::count_if(
      namesakes, [&](CandidateIndex namesake) { return !candidates_[namesake].identity; }));
  return neighbours;
}

std::span<const Neighbour> CandidateNeighbourhood::within(DateDistance span, Date date) const {
  const auto begin =
      std::partition_point(ascending_.begin(), ascending_.end(), [&](const Neighbour& neighbour) {
        return neighbour.creationDate < date && distanceBetween(neighbour.creationDate, date) > span;
      });
  const auto end = std::partition_point(begin, ascending_.end(), [&](const Neighbour& neighbour) {
    return neighbour.creationDate <= date || distanceBetween(neighbour.creationDate, date) <= span;
  });
  return {begin, end};
}

std::span<const Neighbour> CandidateNeighbourhood::from(Date date, Date latest) const {
  const auto begin =
      std::partition_point(ascending_.begin(), ascending_.end(),
                           [&](const Neighbour& neighbour) { return neighbour.creationDate < date; });
  const auto end = std::partition_point(begin, ascending_.end(), [&](const Neighbour& neighbour) {
    return neighbour.creationDate <= latest &&
           distanceBetween(neighbour.creationDate, date) <= RecognitionPolicy::searchSpan;
  });
  return {begin, end};
}

std::span<const Neighbour> CandidateNeighbourhood::before(Date date, Date earliest) const {
  const auto begin =
      std::partition_point(descending_.begin(), descending_.end(),
                           [&](const Neighbour& neighbour) { return neighbour.creationDate >= date; });
  const auto end = std::partition_point(begin, descending_.end(), [&](const Neighbour& neighbour) {
    return neighbour.creationDate >= earliest &&
           distanceBetween(neighbour.creationDate, date) <= RecognitionPolicy::searchSpan;
  });
  return {begin, end};
}

}  // namespace tolvander
