#include "Samples/JPEGBuilder.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander::tests {

namespace {

constexpr std::uint16_t exifPointerTag = 34665;

void append(Bytes& output, std::span<const std::byte> bytes) {
  output.insert(output.end(), bytes.begin(), bytes.end());
}

}  // namespace

Bytes bytes(std::initializer_list<int> values) {
  Bytes result;
  for (const int value : values) {
    result.push_back(static_cast<std::byte>(value));
  }
  return result;
}

Bytes bytes(std::string_view text) {
  Bytes result;
  for (const char character : text) {
    result.push_back(static_cast<std::byte>(character));
  }
  return result;
}

Bytes bigEndian16(std::size_t value) {
  Bytes result;
  appendBigEndian(result, static_cast<std::uint16_t>(value));
  return result;
}

Bytes operator+(Bytes left, std::span<const std::byte> right) {
  append(left, right);
  return left;
}

Bytes repeated(const Bytes& unit, std::size_t count) {
  Bytes result = unit;
  result.resize(unit.size() * count);
  // Doubles what is there, so that millions of short units take few steps.
  for (std::size_t done = unit.size(); done < result.size(); done *= 2) {
    const std::size_t size = std::min(done, result.size() - done);
    std::memcpy(&result[done], result.data(), size);
  }
  return result;
}

TIFFBuilder& TIFFBuilder::shortInteger(std::uint16_t tag, std::uint16_t value) {
  return entry(tag, 3, 1, integer16(value));
}

TIFFBuilder& TIFFBuilder::ascii(std::uint16_t tag, std::string_view content) {
  return entry(tag, 2, static_cast<std::uint32_t>(content.size()), bytes(content));
}

TIFFBuilder& TIFFBuilder::entry(std::uint16_t tag, std::uint16_t type, std::uint32_t count, Bytes value) {
  entries_.push_back({tag, type, count, std::move(value)});
  return *this;
}

TIFFBuilder& TIFFBuilder::exifAscii(std::uint16_t tag, std::string_view content) {
  return exifEntry(tag, 2, static_cast<std::uint32_t>(content.size()), bytes(content));
}

TIFFBuilder& TIFFBuilder::exifEntry(std::uint16_t tag, std::uint16_t type, std::uint32_t count, Bytes value) {
  exifEntries_.push_back({tag, type, count, std::move(value)});
  return *this;
}

TIFFBuilder& TIFFBuilder::claimingEntries(std::uint16_t count) {
  claimedEntries_ = count;
  return *this;
}

Bytes TIFFBuilder::integer16(std::uint16_t value) const {
  Bytes result = bigEndian16(value);
  if (byteOrder_ == ByteOrder::little) {
    std::swap(result[0], result[1]);
  }
  return result;
}

Bytes TIFFBuilder::integer32(std::uint32_t value) const {
  const Bytes high = integer16(static_cast<std::uint16_t>(value >> 16U));
  const Bytes low = integer16(static_cast<std::uint16_t>(value & 0xFFFFU));
  return byteOrder_ == ByteOrder::little ? low + high : high + low;
}

Bytes TIFFBuilder::directory(std::span<const Entry> entries, std::size_t offset) const {
  Bytes head = integer16(static_cast<std::uint16_t>(entries.size()));
  Bytes values;
  const std::size_t valuesOffset = offset + 2 + entries.size() * 12 + 4;
  for (const Entry& entry : entries) {
    append(head, integer16(entry.tag));
    append(head, integer16(entry.type));
    append(head, integer32(entry.count));
    if (entry.value.size() > 4) {
      append(head, integer32(static_cast<std::uint32_t>(valuesOffset + values.size())));
      append(values, entry.value);
    } else {
      Bytes field = entry.value;
      field.resize(4);
      append(head, field);
    }
  }
  append(head, integer32(0));
  return head + values;
}

Bytes TIFFBuilder::build() const {
  constexpr std::size_t firstOffset = 8;
  std::vector<Entry> entries = entries_;
  if (!exifEntries_.empty()) {
    entries.push_back({exifPointerTag, 4, 1, integer32(0)});
  }
  Bytes first = directory(entries, firstOffset);
  const std::size_t exifOffset = firstOffset + first.size();
  if (!exifEntries_.empty()) {
    entries.back().value = integer32(static_cast<std::uint32_t>(exifOffset));
    first = directory(entries, firstOffset);
    append(first, directory(exifEntries_, exifOffset));
  }
  if (claimedEntries_) {
    const Bytes claim = integer16(*claimedEntries_);
    first[0] = claim[0];
    first[1] = claim[1];
  }
  return bytes(byteOrder_ == ByteOrder::little ? "II" : "MM") + integer16(42) + integer32(firstOffset) +
         first;
}

JPEGBuilder::JPEGBuilder() : bytes_(bytes({0xFF, 0xD8})) {}

JPEGBuilder& JPEGBuilder::raw(std::span<const std::byte> bytes) {
  append(bytes_, bytes);
  return *this;
}

JPEGBuilder& JPEGBuilder::segment(std::uint8_t marker, std::span<const std::byte> payload) {
  return raw(bytes({0xFF, marker}) + bigEndian16(payload.size() + 2) + payload);
}

JPEGBuilder& JPEGBuilder::jfif() {
  return segment(0xE0, bytes({'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0}));
}

JPEGBuilder& JPEGBuilder::exif(std::span<const std::byte> tiffBlock) {
  return segment(0xE1, bytes({'E', 'x', 'i', 'f', 0, 0}) + tiffBlock);
}

JPEGBuilder& JPEGBuilder::xmp() {
  return segment(0xE1, bytes("http://ns.adobe.com/xap/1.0/") + bytes({0}) + bytes("<x:xmpmeta/>"));
}

JPEGBuilder& JPEGBuilder::comment(std::string_view text) { return segment(0xFE, bytes(text)); }

JPEGBuilder& JPEGBuilder::quantisationTable() { return segment(0xDB, bytes({0}) + Bytes(64, std::byte{16})); }

JPEGBuilder& JPEGBuilder::huffmanTable() {
  return segment(0xC4, bytes({0}) + bytes({1}) + Bytes(15, std::byte{0}) + bytes({5}));
}

JPEGBuilder& JPEGBuilder::frame(std::uint16_t width, std::uint16_t height, std::uint8_t marker,
                                int precision) {
  return segment(marker, bytes({precision}) + bigEndian16(height) + bigEndian16(width) +
                             bytes({3, 1, 0x22, 0, 2, 0x11, 0, 3, 0x11, 0}));
}

JPEGBuilder& JPEGBuilder::scan(std::span<const std::byte> entropyCoded) {
  segment(0xDA, bytes({3, 1, 0, 2, 0, 3, 0, 0, 63, 0}));
  return raw(entropyCoded);
}

JPEGBuilder& JPEGBuilder::scan() { return scan(bytes({0x12, 0x34, 0xFF, 0x00, 0x56})); }

JPEGBuilder& JPEGBuilder::endOfImage() { return raw(bytes({0xFF, 0xD9})); }

Bytes entropyCodedData(std::size_t size, std::uint32_t seed) {
  std::mt19937 random(seed);
  Bytes data;
  data.reserve(size);
  while (data.size() < size) {
    const auto byte = static_cast<std::byte>(random() & 0xFFU);
    // The last byte is never the first half of a stuffed pair.
    if (byte != std::byte{0xFF}) {
      data.push_back(byte);
    } else if (size - data.size() >= 2) {
      append(data, bytes({0xFF, 0x00}));
    }
  }
  return data;
}

std::vector<NamedJPEG> namedJPEGs() {
  using enum TIFFBuilder::ByteOrder;
  constexpr std::string_view date = "2026:11:20 10:30:00";
  constexpr std::string_view otherDate = "2025:01:02 03:04:05";
  const auto head = [] { return JPEGBuilder().jfif(); };
  // The tables, the frame and the scan behind what stands at the front of a file.
  const auto finished = [](JPEGBuilder front) {
    return front.quantisationTable().frame(1440, 1080).huffmanTable().scan().endOfImage().build();
  };
  const auto cameraExif = [&](TIFFBuilder::ByteOrder byteOrder = little) {
    return TIFFBuilder(byteOrder)
        .ascii(271, std::string("KODAK\0", 6))
        .orientation(6)
        .modifiedDate(date)
        .originalDate(date)
        .digitizedDate(date);
  };
  const auto withExif = [&](std::span<const std::byte> tiffBlock) {
    return finished(head().exif(tiffBlock));
  };

  Bytes wrongByteOrder = cameraExif(little).build();
  wrongByteOrder[0] = wrongByteOrder[1] = std::byte{'M'};
  Bytes wrongMagic = cameraExif().build();
  wrongMagic[2] = std::byte{43};
  Bytes cutExif = cameraExif().build();
  cutExif.resize(cutExif.size() / 2);
  Bytes sound = finished(head().exif(cameraExif()));

  std::vector<NamedJPEG> files{
      {"sound", sound},
      {"bigEndianExif", withExif(cameraExif(big).build())},
      {"noExif", finished(head())},
      {"noMetadata", finished(JPEGBuilder())},
      {"emptyExif", withExif(TIFFBuilder().build())},
      {"exifBeforeJFIF", finished(JPEGBuilder().exif(cameraExif()).jfif())},
      {"otherApplicationSegments",
       finished(head().xmp().exif(cameraExif()).segment(0xE2, bytes("ICC_PROFILE")).comment("comment"))},
      {"twoExifBlocks",
       finished(
           head().exif(TIFFBuilder().originalDate(otherDate)).exif(cameraExif().digitizedDate(otherDate)))},
      {"fillBytes", finished(head().raw(bytes({0xFF, 0xFF, 0xFF})).exif(cameraExif()))},
      {"standaloneMarkers", finished(head().raw(bytes({0xFF, 0x01, 0xFF, 0xD0})).exif(cameraExif()))},
      {"trailingBytes", sound + bytes("trailing bytes of a camera")},
      {"twoFrameHeaders", finished(head().frame(16, 16))},
      {"progressive", head()
                          .exif(cameraExif())
                          .frame(640, 480, 0xC2)
                          .huffmanTable()
                          .scan()
                          .segment(0xC4, bytes({0, 0xFF, 0xD9, 0}))
                          .scan()
                          .endOfImage()
                          .build()},
      {"restartMarkers",
       head().frame(64, 64).scan(bytes({1, 0xFF, 0xD0, 2, 0xFF, 0xD7, 3, 0xFF, 0, 4})).endOfImage().build()},
      {"lossless", head().exif(cameraExif()).frame(1440, 1080, 0xC3).scan().endOfImage().build()},
      {"twelveBits", head().exif(cameraExif()).frame(1440, 1080, 0xC1, 12).scan().endOfImage().build()},
      {"arithmetic", head().exif(cameraExif()).frame(1440, 1080, 0xC9).scan().endOfImage().build()},
      {"largest", head().exif(cameraExif()).frame(65535, 65535).scan().endOfImage().build()},
      {"manyEmptySegments", finished(head().raw(repeated(bytes({0xFF, 0xE1, 0, 2}), 300)))},
      {"manyRestartMarkers", finished(head().raw(repeated(bytes({0xFF, 0xD3}), 300)))},
      {"manyExifPrefixes",
       finished(head().raw(repeated(bytes({0xFF, 0xE1, 0, 8, 'E', 'x', 'i', 'f', 0, 0}), 100)))},

      {"wrongByteOrder", withExif(wrongByteOrder)},
      {"wrongMagic", withExif(wrongMagic)},
      {"cutExif", withExif(cutExif)},
      {"exifOfPrefixOnly", withExif({})},
      {"claims256Entries", withExif(cameraExif().claimingEntries(256).build())},
      {"claims65535Entries", withExif(cameraExif().claimingEntries(65535).build())},
      {"offsetOutside",
       withExif(TIFFBuilder().entry(306, 2, 20, bytes({0xFF, 0xFF, 0xFF, 0x7F})).orientation(3).build())},
      {"exifPointerOutside", withExif(TIFFBuilder().entry(34665, 4, 1, bytes({0, 0, 1, 0})).build())},
      {"exifPointerLoops", withExif(TIFFBuilder().entry(34665, 4, 1, bytes({8, 0, 0, 0})).build())},
      {"zeroDates", withExif(TIFFBuilder()
                                 .modifiedDate("0000:00:00 00:00:00")
                                 .originalDate("0000:00:00 00:00:00")
                                 .digitizedDate("    :  :     :  :  ")
                                 .build())},
      {"dateWithColon", withExif(TIFFBuilder().originalDate("2026:11:20:10:30:00").build())},
      {"dateNotASCII", withExif(TIFFBuilder()
                                    .originalDate("2026\xB9"
                                                  "11:20 10:30:00")
                                    .build())},
      {"impossibleDate",
       withExif(TIFFBuilder().originalDate("2026:02:30 10:30:00").digitizedDate(date).build())},
      {"orientation9", withExif(TIFFBuilder().orientation(9).originalDate(date).build())},

      {"zeroHeight", head().frame(1440, 0).scan().endOfImage().build()},
      {"noFrame", head().scan().endOfImage().build()},
      {"noScan", head().frame(8, 8).endOfImage().build()},
      {"noEndOfImage", head().frame(8, 8).scan().build()},
      {"lengthOfOne", head().raw(bytes({0xFF, 0xDB, 0, 1})).frame(8, 8).scan().endOfImage().build()},
      {"lengthBeyondEnd", head().raw(bytes({0xFF, 0xDB, 0xFF, 0xFF})).build()},
      {"garbageBetweenSegments", head().raw(bytes({0, 0})).frame(8, 8).scan().endOfImage().build()},
      {"notAJPEG", bytes("RIFF....AVI LIST")},
      {"empty", {}},
  };
  return files;
}

}  // namespace tolvander::tests
