#include "TolvanderCore/ImportHistorySummary.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/MediaKind.h"

namespace tolvander {

namespace {

// Disjoint sets of numbers (union-find): union by size, path halving.
class DisjointSets {
 public:
  explicit DisjointSets(std::size_t count) : parents_(count), sizes_(count, 1), groups_(count) {
    std::iota(parents_.begin(), parents_.end(), std::size_t{0});
  }

  void join(std::size_t left, std::size_t right) {
    left = root(left);
    right = root(right);
    if (left == right) {
      return;
    }
    if (sizes_[left] < sizes_[right]) {
      std::swap(left, right);
    }
    parents_[right] = left;
    sizes_[left] += sizes_[right];
    --groups_;
  }

  std::size_t groups() const { return groups_; }

 private:
  std::size_t root(std::size_t member) {
    while (parents_[member] != member) {
      parents_[member] = parents_[parents_[member]];
      member = parents_[member];
    }
    return member;
  }

  std::vector<std::size_t> parents_;
  std::vector<std::size_t> sizes_;
  std::size_t groups_;
};

// Unites the records that share an identity. `identities` has the identity of each record, or an empty one.
// An open-addressing hash table, at most half full, holds the first record with each identity: the lookups
// take most of the time of a summary.
void joinCarriers(const std::vector<std::string_view>& identities, DisjointSets& items) {
  struct Place {
    std::size_t hash = 0;
    std::optional<std::uint32_t> firstCarrier;
  };
  std::vector<Place> table(std::bit_ceil(2 * identities.size() + 1));
  for (std::uint32_t record = 0; record < identities.size(); ++record) {
    const std::string_view identity = identities[record];
    if (identity.empty()) {
      continue;
    }
    const std::size_t hash = std::hash<std::string_view>()(identity);
    std::size_t position = hash;
    const auto place = [&]() -> Place& { return table[position & (table.size() - 1)]; };
    while (place().firstCarrier && (place().hash != hash || identities[*place().firstCarrier] != identity)) {
      ++position;
    }
    if (place().firstCarrier) {
      items.join(*place().firstCarrier, record);
    } else {
      place() = {.hash = hash, .firstCarrier = record};
    }
  }
}

// Different kinds of identity are separate: a payload fingerprint that equals an asset identifier unites
// nothing. Source fingerprints need not be compared, because they are the records' keys.
std::int64_t uniqueCount(const std::vector<const ImportRecord*>& records) {
  DisjointSets items(records.size());
  for (const auto kind : {&ImportRecord::mediaPayloadFingerprint, &ImportRecord::photosAssetIdentifier}) {
    std::vector<std::string_view> identities;
    identities.reserve(records.size());
    for (const ImportRecord* const record : records) {
      const std::optional<std::string>& identity = record->*kind;
      identities.push_back(identity ? *identity : std::string_view());
    }
    joinCarriers(identities, items);
  }
  return static_cast<std::int64_t>(items.groups());
}

}  // namespace

ImportHistorySummary ImportHistorySummary::of(const ImportRecords& records) {
  std::vector<const ImportRecord*> photos;
  std::vector<const ImportRecord*> videos;
  for (const ImportRecord& record : records) {
    const bool isVideo = isVideoExtension(pathExtension(record.filename));
    (isVideo ? videos : photos).push_back(&record);
  }
  return {.uniquePhotoCount = uniqueCount(photos), .uniqueVideoCount = uniqueCount(videos)};
}

}  // namespace tolvander
