#include <zlib.h>

#include <algorithm>
#include <array>

#include "Platform/Linux/Images/ImageHeaders.h"
#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::size_t signatureSize = 8;
constexpr std::size_t lengthSize = 4;
constexpr std::size_t typeSize = 4;
constexpr std::size_t checksumSize = 4;

constexpr std::size_t chunkType(const char (&name)[typeSize + 1]) {
  std::size_t type = 0;
  for (std::size_t index = 0; index < typeSize; ++index) {
    type = type << 8U | static_cast<unsigned char>(name[index]);
  }
  return type;
}

constexpr std::size_t headerType = chunkType("IHDR");
constexpr std::size_t exifType = chunkType("eXIf");

// Cameras write at most 64 KiB, other programs a few MiB with previews. The checksum of this takes about 10
// ms.
constexpr std::size_t maximumExifSize = std::size_t{16} << 20U;

constexpr std::size_t endType = chunkType("IEND");

// A complete chunk.
struct Chunk {
  std::size_t type;
  Bytes typeAndContent;  // which the checksum covers
  std::size_t checksum;

  Bytes content() const { return typeAndContent.subspan(typeSize); }

  // Verifies the checksum (CRC, PNG third edition, 5.5). Reads the whole content.
  bool isSound() const {
    const auto* const bytes = reinterpret_cast<const Bytef*>(typeAndContent.data());
    return crc32_z(crc32_z(0, nullptr, 0), bytes, typeAndContent.size()) == checksum;
  }
};

// The chunk at the start of `rest`, which is advanced past it. Absent if the chunk is incomplete.
std::optional<Chunk> nextChunk(Bytes& rest) {
  constexpr std::size_t frameSize = lengthSize + typeSize + checksumSize;
  if (rest.size() < frameSize) {
    return std::nullopt;
  }
  const std::size_t length = bigEndian32(rest, 0);
  if (length > rest.size() - frameSize) {
    return std::nullopt;
  }
  const Chunk chunk{.type = bigEndian32(rest, lengthSize),
                    .typeAndContent = rest.subspan(lengthSize, typeSize + length),
                    .checksum = bigEndian32(rest, lengthSize + typeSize + length)};
  rest = rest.subspan(frameSize + length);
  return chunk;
}

// Whether a colour type allows a bit depth (PNG third edition, table 11.1).
bool isPossible(unsigned colourType, unsigned bitDepth) {
  switch (colourType) {
    case 0:
      return bitDepth == 1 || bitDepth == 2 || bitDepth == 4 || bitDepth == 8 || bitDepth == 16;
    case 3:
      return bitDepth == 1 || bitDepth == 2 || bitDepth == 4 || bitDepth == 8;
    case 2:
    case 4:
    case 6:
      return bitDepth == 8 || bitDepth == 16;
    default:
      return false;
  }
}

std::optional<ImageProperties> sizeOf(const Chunk& header) {
  constexpr std::size_t headerSize = 13;
  constexpr std::size_t maximumSide = 0x7FFF'FFFF;
  const Bytes content = header.content();
  if (header.type != headerType || content.size() != headerSize || !header.isSound()) {
    return std::nullopt;
  }
  const std::size_t width = bigEndian32(content, 0);
  const std::size_t height = bigEndian32(content, 4);
  const auto field = [&](std::size_t offset) { return std::to_integer<unsigned>(content[offset]); };
  const bool isKnownCoding =
      isPossible(field(9), field(8)) && field(10) == 0 && field(11) == 0 && field(12) <= 1;
  if (width == 0 || width > maximumSide || height == 0 || height > maximumSide || !isKnownCoding) {
    return std::nullopt;
  }
  return ImageProperties{.pixelWidth = static_cast<int>(width), .pixelHeight = static_cast<int>(height)};
}

// A file may have only one such chunk (eXIf), so the first one decides.
std::optional<std::string> findDateTimeOriginal(Bytes chunks, const CancellationToken& token) {
  while (const auto chunk = nextChunk(chunks)) {
    token.throwIfCancelled();
    if (chunk->type == exifType) {
      return chunk->content().size() <= maximumExifSize && chunk->isSound()
                 ? exifDateTimeOriginal(chunk->content())
                 : std::nullopt;
    }
    if (chunk->type == endType) {
      break;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<ImageProperties> pngProperties(Bytes data, const CancellationToken& token) {
  Bytes chunks = data.subspan(signatureSize);
  const auto header = nextChunk(chunks);
  auto properties = header ? sizeOf(*header) : std::nullopt;
  if (properties) {
    properties->exifDateTimeOriginal = findDateTimeOriginal(chunks, token);
  }
  return properties;
}

}  // namespace tolvander::platform::linux_
