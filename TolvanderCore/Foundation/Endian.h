#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

namespace tolvander {

// Reads and writes unsigned numbers in the byte order that a file format prescribes. The bytes are any
// indexed container of char or std::byte. What is read must lie within them: there are no checks.

namespace endian {

template <std::unsigned_integral Number, typename Bytes>
constexpr Number big(const Bytes& bytes, std::size_t offset) {
  Number number = 0;
  for (std::size_t index = 0; index < sizeof(Number); ++index) {
    number = static_cast<Number>(number << 8U | static_cast<unsigned char>(bytes[offset + index]));
  }
  return number;
}

template <std::unsigned_integral Number, typename Bytes>
constexpr Number little(const Bytes& bytes, std::size_t offset) {
  Number number = 0;
  for (std::size_t index = sizeof(Number); index > 0; --index) {
    number = static_cast<Number>(number << 8U | static_cast<unsigned char>(bytes[offset + index - 1]));
  }
  return number;
}

}  // namespace endian

constexpr std::uint16_t bigEndian16(const auto& bytes, std::size_t offset) {
  return endian::big<std::uint16_t>(bytes, offset);
}

constexpr std::uint32_t bigEndian32(const auto& bytes, std::size_t offset) {
  return endian::big<std::uint32_t>(bytes, offset);
}

constexpr std::uint16_t littleEndian16(const auto& bytes, std::size_t offset) {
  return endian::little<std::uint16_t>(bytes, offset);
}

constexpr std::uint32_t littleEndian32(const auto& bytes, std::size_t offset) {
  return endian::little<std::uint32_t>(bytes, offset);
}

constexpr std::uint64_t littleEndian64(const auto& bytes, std::size_t offset) {
  return endian::little<std::uint64_t>(bytes, offset);
}

template <std::unsigned_integral Number, typename Bytes>
constexpr void appendBigEndian(Bytes& bytes, Number number) {
  for (std::size_t index = sizeof(Number); index > 0; --index) {
    bytes.push_back(static_cast<typename Bytes::value_type>(number >> 8U * (index - 1) & 0xFFU));
  }
}

template <std::unsigned_integral Number, typename Bytes>
constexpr void appendLittleEndian(Bytes& bytes, Number number) {
  for (std::size_t index = 0; index < sizeof(Number); ++index) {
    bytes.push_back(static_cast<typename Bytes::value_type>(number >> 8U * index & 0xFFU));
  }
}

}  // namespace tolvander
