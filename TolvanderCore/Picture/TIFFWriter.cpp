#include "TolvanderCore/Picture/TIFFWriter.h"

#include <algorithm>

#include "TolvanderCore/Foundation/Endian.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Picture/TIFF.h"

namespace tolvander {

namespace {

bool fitsIntoEntry(const TIFFField& field) { return field.value.size() <= tiff::valueFieldSize; }

std::size_t sizeWithoutValues(std::span<const TIFFField> fields) {
  return tiff::entryCountSize + fields.size() * tiff::entrySize + tiff::nextDirectorySize;
}

}  // namespace

TIFFField TIFFField::ascii(std::uint16_t tag, std::string_view text) {
  TIFFField field{.tag = tag, .type = tiff::type::ascii};
  const auto bytes = std::as_bytes(std::span(text));
  field.value.assign(bytes.begin(), bytes.end());
  field.value.push_back(std::byte{0});
  field.count = static_cast<std::uint32_t>(field.value.size());
  return field;
}

TIFFField TIFFField::shortInteger(std::uint16_t tag, std::uint16_t value) {
  TIFFField field{.tag = tag, .type = tiff::type::shortInteger, .count = 1};
  appendLittleEndian(field.value, value);
  return field;
}

TIFFField TIFFField::longInteger(std::uint16_t tag, std::uint32_t value) {
  TIFFField field{.tag = tag, .type = tiff::type::longInteger, .count = 1};
  appendLittleEndian(field.value, value);
  return field;
}

TIFFField TIFFField::rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator) {
  TIFFField field{.tag = tag, .type = tiff::type::rational, .count = 1};
  appendLittleEndian(field.value, numerator);
  appendLittleEndian(field.value, denominator);
  return field;
}

TIFFWriter::TIFFWriter() : bytes_{std::byte{'I'}, std::byte{'I'}} {
  appendLittleEndian(bytes_, tiff::magicNumber);
  appendLittleEndian(bytes_, std::uint32_t{tiff::headerSize});
}

void TIFFWriter::appendDirectory(std::span<const TIFFField> fields) {
  precondition(std::ranges::is_sorted(fields, {}, &TIFFField::tag), "a directory is sorted by tag");
  const std::size_t valueOffset = bytes_.size() + sizeWithoutValues(fields);
  std::vector<std::byte> values;
  appendLittleEndian(bytes_, static_cast<std::uint16_t>(fields.size()));
  for (const TIFFField& field : fields) {
    appendLittleEndian(bytes_, field.tag);
    appendLittleEndian(bytes_, field.type);
    appendLittleEndian(bytes_, field.count);
    if (fitsIntoEntry(field)) {
      bytes_.insert(bytes_.end(), field.value.begin(), field.value.end());
      bytes_.resize(bytes_.size() + tiff::valueFieldSize - field.value.size());
    } else {
      appendLittleEndian(bytes_, static_cast<std::uint32_t>(valueOffset + values.size()));
      values.insert(values.end(), field.value.begin(), field.value.end());
      values.resize(values.size() + values.size() % 2);
    }
  }
  appendLittleEndian(bytes_, std::uint32_t{0});
  bytes_.insert(bytes_.end(), values.begin(), values.end());
}

std::size_t TIFFWriter::directorySize(std::span<const TIFFField> fields) {
  std::size_t size = sizeWithoutValues(fields);
  for (const TIFFField& field : fields) {
    size += fitsIntoEntry(field) ? 0 : field.value.size() + field.value.size() % 2;
  }
  return size;
}

}  // namespace tolvander
