#include "TolvanderCore/ImportRecords.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tolvander {

namespace {

using Shared = std::shared_ptr<const ImportRecord>;

std::string_view keyOf(const Shared& record) { return record->sourceFingerprint; }

// Sorts in ascending order and keeps the last of several records with the same key.
std::vector<Shared> sharedInOrder(std::vector<ImportRecord> records) {
  std::vector<Shared> ordered;
  ordered.reserve(records.size());
  for (ImportRecord& record : records) {
    ordered.push_back(std::make_shared<const ImportRecord>(ImportRecord::make(std::move(record))));
  }
  std::ranges::stable_sort(ordered, std::less(), keyOf);
  // Keeps the last of equal records, which is the first one in reverse order.
  const auto kept =
      std::unique(ordered.rbegin(), ordered.rend(),
                  [](const Shared& left, const Shared& right) { return keyOf(left) == keyOf(right); });
  ordered.erase(ordered.begin(), kept.base());
  return ordered;
}

}  // namespace

ImportRecords::ImportRecords(std::vector<ImportRecord> records)
    : records_(sharedInOrder(std::move(records))) {}

const ImportRecord* ImportRecords::find(std::string_view sourceFingerprint) const {
  const auto position = std::ranges::lower_bound(records_, sourceFingerprint, std::less(), keyOf);
  return position != records_.end() && keyOf(*position) == sourceFingerprint ? position->get() : nullptr;
}

void ImportRecords::insertOrAssign(std::vector<ImportRecord> records) {
  std::vector<Shared> added;
  for (Shared& record : sharedInOrder(std::move(records))) {
    const auto position = std::ranges::lower_bound(records_, keyOf(record), std::less(), keyOf);
    if (position != records_.end() && keyOf(*position) == keyOf(record)) {
      *position = std::move(record);
    } else {
      added.push_back(std::move(record));
    }
  }
  // From the end, so that every record is moved once, directly to its final position.
  const auto oldCount = static_cast<std::ptrdiff_t>(records_.size());
  records_.resize(records_.size() + added.size());
  auto oldEnd = records_.begin() + oldCount;
  auto room = records_.end();
  for (auto record = added.rbegin(); record != added.rend(); ++record) {
    const auto position =
        std::ranges::lower_bound(records_.begin(), oldEnd, keyOf(*record), std::less(), keyOf);
    room = std::move_backward(position, oldEnd, room);
    *--room = std::move(*record);
    oldEnd = position;
  }
}

bool operator==(const ImportRecords& left, const ImportRecords& right) {
  return std::ranges::equal(left.records_, right.records_, [](const auto& one, const auto& other) {
    return one == other || *one == *other;
  });
}

}  // namespace tolvander
