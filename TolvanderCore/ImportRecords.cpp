#include "TolvanderCore/ImportRecords.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tolvander {

ImportRecords::ImportRecords(std::vector<ImportRecord> records) {
  records_.reserve(records.size());
  for (ImportRecord& record : records) {
    records_.push_back(std::make_shared<const ImportRecord>(ImportRecord::make(std::move(record))));
  }
  const auto key = [](const Shared& record) -> const std::string& { return record->sourceFingerprint; };
  std::ranges::stable_sort(records_, std::less(), key);
  // Of equal neighbours the last stays: seen from the end, it is the first.
  const auto kept =
      std::unique(records_.rbegin(), records_.rend(),
                  [&](const Shared& left, const Shared& right) { return key(left) == key(right); });
  records_.erase(records_.begin(), kept.base());
}

const ImportRecord* ImportRecords::find(std::string_view sourceFingerprint) const {
  const auto position = lowerBound(sourceFingerprint);
  return position != records_.end() && (*position)->sourceFingerprint == sourceFingerprint ? position->get()
                                                                                           : nullptr;
}

void ImportRecords::insertOrAssign(ImportRecord record) {
  const auto position = records_.begin() + (lowerBound(record.sourceFingerprint) - records_.cbegin());
  const bool isKnown =
      position != records_.end() && (*position)->sourceFingerprint == record.sourceFingerprint;
  Shared shared = std::make_shared<const ImportRecord>(ImportRecord::make(std::move(record)));
  if (isKnown) {
    *position = std::move(shared);
  } else {
    records_.insert(position, std::move(shared));
  }
}

std::vector<ImportRecords::Shared>::const_iterator ImportRecords::lowerBound(
    std::string_view sourceFingerprint) const {
  return std::ranges::lower_bound(
      records_, sourceFingerprint, std::less(),
      [](const Shared& record) -> std::string_view { return record->sourceFingerprint; });
}

bool operator==(const ImportRecords& left, const ImportRecords& right) {
  return std::ranges::equal(left.records_, right.records_, [](const auto& one, const auto& other) {
    return one == other || *one == *other;
  });
}

}  // namespace tolvander
