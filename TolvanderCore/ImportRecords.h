#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/ImportRecord.h"

namespace tolvander {

// A map from source fingerprint to record, in ascending order of the fingerprints' bytes.
//
// Records are stored as ImportRecord::make returns them, so that those with metadataOnly have no content
// fingerprints.
//
// Copies are independent, but share the records, which are immutable: changing a copy of 100,000 records
// copies pointers only, not texts.
class ImportRecords {
 public:
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = ImportRecord;
    using difference_type = std::ptrdiff_t;
    using pointer = const ImportRecord*;
    using reference = const ImportRecord&;

    Iterator() = default;
    explicit Iterator(const std::shared_ptr<const ImportRecord>* position) : position_(position) {}
    reference operator*() const { return **position_; }
    pointer operator->() const { return position_->get(); }
    Iterator& operator++() {
      ++position_;
      return *this;
    }
    Iterator operator++(int) { return Iterator(position_++); }
    friend bool operator==(const Iterator&, const Iterator&) = default;

   private:
    const std::shared_ptr<const ImportRecord>* position_ = nullptr;
  };

  ImportRecords() = default;

  // Each record under its own source fingerprint; of several with the same one, the last.
  explicit ImportRecords(std::vector<ImportRecord> records);

  // The record of a source, or null. Valid until the records change.
  const ImportRecord* find(std::string_view sourceFingerprint) const;
  bool contains(std::string_view sourceFingerprint) const { return find(sourceFingerprint) != nullptr; }

  // Adds or replaces each under its own source fingerprint; of several with the same one, the last is kept.
  // Linear in the number of all records, however many are added.
  void insertOrAssign(std::vector<ImportRecord> records);

  std::size_t size() const { return records_.size(); }
  bool empty() const { return records_.empty(); }
  Iterator begin() const { return Iterator(records_.data()); }
  Iterator end() const { return Iterator(records_.data() + records_.size()); }

  friend bool operator==(const ImportRecords& left, const ImportRecords& right);

 private:
  using Shared = std::shared_ptr<const ImportRecord>;

  std::vector<Shared> records_;
};

}  // namespace tolvander
