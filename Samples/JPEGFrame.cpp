#include "Samples/JPEGFrame.h"

#include <bit>
#include <random>
#include <string_view>

#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander::tests {

namespace {

// Of the entropy-coded segment: bits from the most significant one on, a zero byte stuffed behind each 0xFF.
class BitWriter {
 public:
  explicit BitWriter(std::string& bytes) : bytes_(bytes) {}

  void put(unsigned value, unsigned count) {
    pending_ = pending_ << count | value;
    pendingBits_ += count;
    while (pendingBits_ >= 8) {
      pendingBits_ -= 8;
      const auto byte = static_cast<unsigned char>(pending_ >> pendingBits_);
      bytes_ += static_cast<char>(byte);
      if (byte == 0xFF) {
        bytes_ += '\0';
      }
    }
  }

  void finish() {
    const unsigned missing = 7 - (pendingBits_ + 7) % 8;
    put((1U << missing) - 1, missing);
  }

 private:
  std::string& bytes_;
  std::uint64_t pending_ = 0;
  unsigned pendingBits_ = 0;
};

std::string bigEndian16(std::size_t value) {
  std::string bytes;
  appendBigEndian(bytes, static_cast<std::uint16_t>(value));
  return bytes;
}

std::string segment(unsigned char marker, std::string_view content) {
  std::string bytes = {'\xFF', static_cast<char>(marker)};
  bytes += bigEndian16(content.size() + 2);
  bytes += content;
  return bytes;
}

// Twelve categories of DC difference, each with a code of 4 bits that is its own number.
std::string differenceTable() {
  std::string content = {'\x00', 0, 0, 0, '\x0C', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  for (char category = 0; category < 12; ++category) {
    content += category;
  }
  return segment(0xC4, content);
}

// One AC symbol, the end of the block, with the one-bit code 0.
std::string endOfBlockTable() {
  return segment(0xC4, {"\x10\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00", 18});
}

void putDifference(BitWriter& bits, int difference) {
  const auto magnitude = static_cast<unsigned>(difference < 0 ? -difference : difference);
  const auto category = static_cast<unsigned>(std::bit_width(magnitude));
  bits.put(category, 4);
  const unsigned mask = (1U << category) - 1;
  bits.put((difference < 0 ? static_cast<unsigned>(difference - 1) : magnitude) & mask, category);
}

std::string picture(unsigned width, unsigned height, unsigned claimedWidth, unsigned claimedHeight,
                    std::uint32_t seed) {
  std::string bytes = "\xFF\xD8";
  bytes += segment(0xDB, std::string(1, '\0') + std::string(64, '\x08'));
  bytes += segment(0xC0, '\x08' + bigEndian16(claimedHeight) + bigEndian16(claimedWidth) +
                             std::string("\x01\x01\x11\x00", 4));
  bytes += differenceTable() + endOfBlockTable();
  bytes += segment(0xDA, {"\x01\x01\x00\x00\x3F\x00", 6});

  std::minstd_rand random(seed);
  BitWriter bits(bytes);
  int previous = 0;
  const unsigned blocks = (width + 7) / 8 * ((height + 7) / 8);
  for (unsigned block = 0; block < blocks; ++block) {
    const int grey = static_cast<int>(random() % 129) - 64;
    putDifference(bits, grey - previous);
    bits.put(0, 1);
    previous = grey;
  }
  bits.finish();
  bytes += "\xFF\xD9";
  return bytes;
}

}  // namespace

std::string jpegFrame(unsigned width, unsigned height, std::uint32_t seed) {
  return picture(width, height, width, height, seed);
}

std::string jpegFrameClaiming(unsigned claimedWidth, unsigned claimedHeight, std::uint32_t seed) {
  return picture(16, 16, claimedWidth, claimedHeight, seed);
}

}  // namespace tolvander::tests
