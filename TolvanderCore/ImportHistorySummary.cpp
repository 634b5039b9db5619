#include "TolvanderCore/ImportHistorySummary.h"

#include <cstddef>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TolvanderCore/FileURL.h"
#include "TolvanderCore/MediaKind.h"

namespace tolvander {

namespace {

// Disjoint sets of the numbers below a count: union by size, path halving.
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

// The first record that carried each identity of one kind. Kinds are kept apart: a payload that is spelt like
// a source links nothing.
class IdentityLinks {
 public:
  IdentityLinks(DisjointSets& items, std::size_t count) : items_(items) { firstCarrier_.reserve(count); }

  void add(std::string_view identity, std::size_t record) {
    if (identity.empty()) {
      return;
    }
    const auto [carrier, isFirst] = firstCarrier_.emplace(identity, record);
    if (!isFirst) {
      items_.join(carrier->second, record);
    }
  }

 private:
  DisjointSets& items_;
  std::unordered_map<std::string_view, std::size_t> firstCarrier_;
};

std::string_view textOrEmpty(const std::optional<std::string>& text) {
  return text ? *text : std::string_view();
}

std::int64_t uniqueCount(const std::vector<const ImportRecord*>& records) {
  DisjointSets items(records.size());
  IdentityLinks sources(items, records.size());
  IdentityLinks payloads(items, records.size());
  IdentityLinks assets(items, records.size());
  for (std::size_t index = 0; index < records.size(); ++index) {
    sources.add(records[index]->sourceFingerprint, index);
    payloads.add(textOrEmpty(records[index]->mediaPayloadFingerprint), index);
    assets.add(textOrEmpty(records[index]->photosAssetIdentifier), index);
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
