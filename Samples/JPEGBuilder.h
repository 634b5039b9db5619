#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander::tests {

using Bytes = std::vector<std::byte>;

Bytes bytes(std::initializer_list<int> values);
Bytes bytes(std::string_view text);
Bytes bigEndian16(std::size_t value);
Bytes operator+(Bytes left, std::span<const std::byte> right);
Bytes repeated(const Bytes& unit, std::size_t count);

// Builds the TIFF structure of an Exif block: a header, a first directory, and an Exif directory that the
// first one points to when it has entries. Values of more than four bytes stand behind the directories, in
// the order in which they were added.
class TIFFBuilder {
 public:
  enum class ByteOrder { little, big };

  explicit TIFFBuilder(ByteOrder byteOrder = ByteOrder::little) : byteOrder_(byteOrder) {}

  // To the first directory.
  TIFFBuilder& orientation(std::uint16_t value) { return shortInteger(274, value); }
  TIFFBuilder& modifiedDate(std::string_view text) { return ascii(306, terminated(text)); }
  TIFFBuilder& shortInteger(std::uint16_t tag, std::uint16_t value);
  TIFFBuilder& ascii(std::uint16_t tag, std::string_view content);
  TIFFBuilder& entry(std::uint16_t tag, std::uint16_t type, std::uint32_t count, Bytes value);

  // To the Exif directory.
  TIFFBuilder& originalDate(std::string_view text) { return exifAscii(36867, terminated(text)); }
  TIFFBuilder& digitizedDate(std::string_view text) { return exifAscii(36868, terminated(text)); }
  TIFFBuilder& exifAscii(std::uint16_t tag, std::string_view content);
  TIFFBuilder& exifEntry(std::uint16_t tag, std::uint16_t type, std::uint32_t count, Bytes value);

  // The number of entries that the first directory claims to have, whatever it has.
  TIFFBuilder& claimingEntries(std::uint16_t count);

  Bytes build() const;

  Bytes integer16(std::uint16_t value) const;
  Bytes integer32(std::uint32_t value) const;

 private:
  struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint32_t count;
    Bytes value;
  };

  static std::string terminated(std::string_view text) { return std::string(text) + '\0'; }
  Bytes directory(std::span<const Entry> entries, std::size_t offset) const;

  ByteOrder byteOrder_;
  std::vector<Entry> entries_;
  std::vector<Entry> exifEntries_;
  std::optional<std::uint16_t> claimedEntries_;
};

// Builds a JPEG segment by segment. Headers are right, so that a reader of headers accepts the file; the
// entropy-coded data is made up.
class JPEGBuilder {
 public:
  // Starts with the start-of-image marker.
  JPEGBuilder();

  // As they are, wherever they fall.
  JPEGBuilder& raw(std::span<const std::byte> bytes);

  // One segment with marker and length.
  JPEGBuilder& segment(std::uint8_t marker, std::span<const std::byte> payload);
  JPEGBuilder& jfif();
  JPEGBuilder& exif(std::span<const std::byte> tiffBlock);
  JPEGBuilder& exif(const TIFFBuilder& builder) { return exif(builder.build()); }
  JPEGBuilder& xmp();
  JPEGBuilder& comment(std::string_view text);
  JPEGBuilder& quantisationTable();
  JPEGBuilder& huffmanTable();

  // A frame header of three components. `precision` is in bits per sample.
  JPEGBuilder& frame(std::uint16_t width, std::uint16_t height, std::uint8_t marker = 0xC0,
                     int precision = 8);

  // A scan header and its entropy-coded data.
  JPEGBuilder& scan(std::span<const std::byte> entropyCoded);
  JPEGBuilder& scan();
  JPEGBuilder& endOfImage();

  // Where the next byte will stand.
  std::size_t size() const { return bytes_.size(); }
  Bytes build() const { return bytes_; }

 private:
  Bytes bytes_;
};

// `size` bytes of entropy-coded data as an encoder makes it, from a fixed seed: without pattern, and with
// every 0xFF followed by 0x00.
Bytes entropyCodedData(std::size_t size, std::uint32_t seed);

struct NamedJPEG {
  std::string name;
  Bytes bytes;
};

// Small files, each named after what is the matter with it: the damage that cheap cameras and broken cards
// cause, and sound files of every kind.
std::vector<NamedJPEG> namedJPEGs();

}  // namespace tolvander::tests
