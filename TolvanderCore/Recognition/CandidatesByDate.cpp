#include "TolvanderCore/Recognition/CandidatesByDate.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <tuple>

#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander {

namespace {

// The middle of two dates. A date up to the middle is at least as near to the earlier one.
Date halfway(Date earlier, Date later) {
  return Date(std::chrono::nanoseconds(
      std::midpoint(earlier.time_since_epoch().count(), later.time_since_epoch().count())));
}

}  // namespace

void NearestFirst::add(std::span<const DatedCandidate> rest, Date centre) {
  count_ += rest.size();
  runs_[runCount_++] = {.rest = rest, .centre = centre};
}

bool NearestFirst::precedes(const Run& left, const Run& right) const {
  if (left.rest.empty() || right.rest.empty()) {
    return !left.rest.empty();
  }
  const DatedCandidate& first = left.rest.front();
  const DatedCandidate& second = right.rest.front();
  const DateDistance near = distanceBetween(first.creationDate, left.centre);
  const DateDistance far = distanceBetween(second.creationDate, right.centre);
  return near != far ? near < far : (*candidates_)[first.candidate].id < (*candidates_)[second.candidate].id;
}

CandidatesByDate::CandidatesByDate(const std::vector<RecognitionCandidate>& candidates,
                                   const CandidatesByName& names)
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
  std::sort(ascending_.begin(), ascending_.end(),
            [&](const DatedCandidate& left, const DatedCandidate& right) {
              return left.creationDate != right.creationDate
                         ? left.creationDate < right.creationDate
                         : std::tie(candidates[left.candidate].id, left.candidate) <
                               std::tie(candidates[right.candidate].id, right.candidate);
            });
  descending_ = ascending_;
  std::stable_sort(descending_.begin(), descending_.end(),
                   [](const DatedCandidate& left, const DatedCandidate& right) {
                     return left.creationDate > right.creationDate;
                   });
}

NearestFirst CandidatesByDate::around(const std::vector<Date>& dates, CandidatesByName::Name ownName) const {
  NearestFirst nearest(candidates_, ownName);
  if (dates.empty()) {
    return nearest;
  }
  // A candidate between the two dates belongs to the run of the nearer one, so that it is in one run only.
  const Date middle = halfway(dates.front(), dates.back());
  for (const Date date : dates) {
    const Date earliest = date == dates.front() ? Date::min() : middle + std::chrono::nanoseconds(1);
    const Date latest = date == dates.back() ? Date::max() : middle;
    nearest.add(before(date, earliest), date);
    nearest.add(from(date, latest), date);
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
      --nearest.count_;
    }
  }
  return nearest;
}

NearestFirst CandidatesByDate::all(CandidatesByName::Name ownName) const {
  NearestFirst nearest(candidates_, ownName);
  nearest.add(listed_, Date());
  const auto namesakes = names_.named(ownName);
  nearest.count_ -= static_cast<std::size_t>(std::ranges::count_if(
      namesakes, [&](CandidateIndex namesake) { return !candidates_[namesake].identity; }));
  return nearest;
}

std::span<const DatedCandidate> CandidatesByDate::within(DateDistance span, Date date) const {
  const auto begin =
      std::partition_point(ascending_.begin(), ascending_.end(), [&](const DatedCandidate& dated) {
        return dated.creationDate < date && distanceBetween(dated.creationDate, date) > span;
      });
  const auto end = std::partition_point(begin, ascending_.end(), [&](const DatedCandidate& dated) {
    return dated.creationDate <= date || distanceBetween(dated.creationDate, date) <= span;
  });
  return {begin, end};
}

std::span<const DatedCandidate> CandidatesByDate::from(Date date, Date latest) const {
  const auto begin =
      std::partition_point(ascending_.begin(), ascending_.end(),
                           [&](const DatedCandidate& dated) { return dated.creationDate < date; });
  const auto end = std::partition_point(begin, ascending_.end(), [&](const DatedCandidate& dated) {
    return dated.creationDate <= latest &&
           distanceBetween(dated.creationDate, date) <= RecognitionPolicy::searchSpan;
  });
  return {begin, end};
}

std::span<const DatedCandidate> CandidatesByDate::before(Date date, Date earliest) const {
  const auto begin =
      std::partition_point(descending_.begin(), descending_.end(),
                           [&](const DatedCandidate& dated) { return dated.creationDate >= date; });
  const auto end = std::partition_point(begin, descending_.end(), [&](const DatedCandidate& dated) {
    return dated.creationDate >= earliest &&
           distanceBetween(dated.creationDate, date) <= RecognitionPolicy::searchSpan;
  });
  return {begin, end};
}

}  // namespace tolvander
