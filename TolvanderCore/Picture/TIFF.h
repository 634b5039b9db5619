#pragma once

#include <cstddef>
#include <cstdint>

// The numbers of the TIFF structure (TIFF 6.0, section 2) and the tags of an Exif block (Exif 2.32,
// section 4.6) that are read or written.
namespace tolvander::tiff {

constexpr std::uint16_t magicNumber = 42;  // behind the byte order

// Bytes.
constexpr std::size_t headerSize = 8;
constexpr std::size_t entryCountSize = 2;
constexpr std::size_t entrySize = 12;
constexpr std::size_t nextDirectorySize = 4;
constexpr std::size_t valueFieldSize = 4;  // a longer value is elsewhere, and this field holds its offset

namespace type {
constexpr std::uint16_t ascii = 2;
constexpr std::uint16_t shortInteger = 3;  // 16 bits
constexpr std::uint16_t longInteger = 4;   // 32 bits
constexpr std::uint16_t rational = 5;      // numerator and denominator of 32 bits each
}  // namespace type

namespace tag {
constexpr std::uint16_t make = 271;
constexpr std::uint16_t model = 272;
constexpr std::uint16_t orientation = 274;
constexpr std::uint16_t dateTime = 306;
constexpr std::uint16_t fNumber = 33437;
constexpr std::uint16_t exifDirectory = 34665;
constexpr std::uint16_t dateTimeOriginal = 36867;
constexpr std::uint16_t dateTimeDigitized = 36868;
constexpr std::uint16_t pixelXDimension = 40962;
constexpr std::uint16_t pixelYDimension = 40963;
constexpr std::uint16_t focalLengthIn35mmFilm = 41989;
constexpr std::uint16_t lensModel = 42036;
}  // namespace tag

}  // namespace tolvander::tiff
