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
// Whatever goes in keeps the rule of ImportRecord: on metadata alone there are no content identities.
//
// A value: copies are independent. They share the records themselves, which never change, so that the next
// state of a history of a hundred thousand records is made and thrown away without copying their texts.
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

  // Absent as a null pointer. Valid until the records change.
  const ImportRecord* find(std::string_view sourceFingerprint) const;
  bool contains(std::string_view sourceFingerprint) const { return find(sourceFingerprint) != nullptr; }

  // Adds or replaces each under its own source fingerprint; of several with the same one, the last stands.
  // Moves each record that is there once at most, however many are added.
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
