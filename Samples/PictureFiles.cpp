#include "Samples/PictureFiles.h"

#include <cstdint>
#include <utility>

#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander::tests {

namespace {

std::uint32_t checksum(const Bytes& data) {
  std::uint32_t value = 0xFFFFFFFFU;
  for (const std::byte byte : data) {
    value ^= std::to_integer<std::uint32_t>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      value = value >> 1U ^ ((value & 1U) != 0 ? 0xEDB88320U : 0U);
    }
  }
  return ~value;
}

Bytes join(const std::vector<Bytes>& parts) {
  Bytes joined;
  for (const Bytes& part : parts) {
    joined.insert(joined.end(), part.begin(), part.end());
  }
  return joined;
}

}  // namespace

Bytes bigEndian32(std::size_t value) {
  Bytes result;
  appendBigEndian(result, static_cast<std::uint32_t>(value));
  return result;
}

Bytes chunk(std::string_view type, const Bytes& content) {
  const Bytes typeAndContent = bytes(type) + content;
  return bigEndian32(content.size()) + typeAndContent + bigEndian32(checksum(typeAndContent));
}

Bytes pngHeader(std::size_t width, std::size_t height, int bitDepth, int colourType) {
  return chunk("IHDR", bigEndian32(width) + bigEndian32(height) + bytes({bitDepth, colourType, 0, 0, 0}));
}

Bytes pngWith(const Bytes& chunks) { return pngSignature + pngHeader(640, 480) + chunks; }

Bytes box(std::string_view type, const Bytes& content) {
  return bigEndian32(content.size() + 8) + bytes(type) + content;
}

Bytes fullBox(std::string_view type, int version, const Bytes& content) {
  return box(type, bytes({version, 0, 0, 0}) + content);
}

Bytes heicWith(const std::vector<std::vector<Extent>>& metadataItems, std::size_t tiles) {
  const auto item = [](std::size_t identifier, std::string_view type) {
    return fullBox("infe", 2, bigEndian16(identifier) + bigEndian16(0) + bytes(type) + bytes({0}));
  };
  const auto location = [](std::size_t identifier, const std::vector<Extent>& extents) {
    Bytes entry = bigEndian16(identifier) + bigEndian16(0) + bigEndian16(extents.size());
    for (const Extent& extent : extents) {
      entry = entry + bigEndian32(extent.offset) + bigEndian32(extent.length);
    }
    return entry;
  };
  std::vector<Bytes> items{item(1, "hvc1")};
  std::vector<Bytes> locations{location(1, {{0, 8}})};
  std::vector<Bytes> references;
  for (std::size_t index = 0; index < metadataItems.size(); ++index) {
    items.push_back(item(index + 2, "Exif"));
    locations.push_back(location(index + 2, metadataItems[index]));
    references.push_back(box("cdsc", bigEndian16(index + 2) + bigEndian16(1) + bigEndian16(1)));
  }
  Bytes associations = bigEndian16(1) + bytes({2, 1, 2});
  for (std::size_t index = 0; index < tiles; ++index) {
    const std::size_t identifier = metadataItems.size() + 2 + index;
    items.push_back(item(identifier, "hvc1"));
    locations.push_back(location(identifier, {{0, 8}}));
    references.push_back(box("dimg", bigEndian16(1) + bigEndian16(1) + bigEndian16(identifier)));
    associations = std::move(associations) + bigEndian16(identifier) + bytes({2, 1, 2});
  }
  const Bytes size = fullBox("ispe", 0, bigEndian32(1440) + bigEndian32(1080));
  const Bytes decoder = box("hvcC", bytes({1,    1,    0, 0,    0,    0,    0x90, 0, 0, 0,    0, 0,
                                           0x5D, 0xF0, 0, 0xFC, 0xFD, 0xF8, 0xF8, 0, 0, 0x0F, 0}));
  const Bytes meta = join({
      fullBox("hdlr", 0, bytes({0, 0, 0, 0}) + bytes("pict") + Bytes(13)),
      fullBox("pitm", 0, bigEndian16(1)),
      fullBox("iinf", 0, bigEndian16(items.size()) + join(items)),
      fullBox("iref", 0, join(references)),
      box("iprp", box("ipco", size + decoder) + fullBox("ipma", 0, bigEndian32(tiles + 1) + associations)),
      fullBox("iloc", 0, bytes({0x44, 0}) + bigEndian16(locations.size()) + join(locations)),
  });
  return box("ftyp", bytes("heic") + Bytes(4) + bytes("mif1heic")) + fullBox("meta", 0, meta);
}

Bytes heicWithExif(const Bytes& item) {
  const std::size_t start = heicWith({{{0, 0}}}).size();
  return heicWith({{{start, item.size()}}}) + item;
}

}  // namespace tolvander::tests
