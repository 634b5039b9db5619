#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tolvander {

// One field of a TIFF directory, with the bytes of its value in little-endian order.
struct TIFFField {
  std::uint16_t tag = 0;
  std::uint16_t type = 0;
  std::uint32_t count = 0;  // of values, not of bytes
  std::vector<std::byte> value = {};

  static TIFFField ascii(std::uint16_t tag, std::string_view text);  // adds the NUL byte that ends the text
  static TIFFField shortInteger(std::uint16_t tag, std::uint16_t value);
  static TIFFField longInteger(std::uint16_t tag, std::uint32_t value);
  static TIFFField rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator);
};

// Writes the TIFF structure of an Exif block (TIFF 6.0, section 2), in little-endian byte order. Private to
// TolvanderCore, as TIFFReader is.
class TIFFWriter {
 public:
  // Begins with a header that points to a directory directly behind it.
  TIFFWriter();

  // Appends a directory that points to no next one: the entries in the given order, which must be ascending
  // by tag, and then the values that don't fit into their entries, each at an even offset.
  void appendDirectory(std::span<const TIFFField> fields);

  // The number of bytes that appendDirectory appends for these fields; always even.
  static std::size_t directorySize(std::span<const TIFFField> fields);

  const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
};

}  // namespace tolvander
