#pragma once

#include <array>
#include <cstdint>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// What is the matter with a sample photo. The picture itself is always sound.
enum class ExifDamage {
  none,                 // one block, with the same date in all three fields
  missing,              // no Exif at all
  wrongByteOrder,       // little-endian, and says that it is big-endian
  valuesOutsideBlock,   // the dates' offsets lead out of the block
  directoryLoop,        // the first directory names itself as its Exif directory; its own date can be read
  zeroDates,            // "0000:00:00 00:00:00"
  colonBeforeTime,      // "2026:01:31:12:00:00"
  contradictingBlocks,  // two blocks; the second says the year before, and is the wrong one
  trailingBytes,        // a good block; zeros behind the end of the image, up to a whole sector
  truncatedBlock,       // ends within its Exif directory; the first directory's date can be read
};

inline constexpr std::array allExifDamage{ExifDamage::none,
                                          ExifDamage::missing,
                                          ExifDamage::wrongByteOrder,
                                          ExifDamage::valuesOutsideBlock,
                                          ExifDamage::directoryLoop,
                                          ExifDamage::zeroDates,
                                          ExifDamage::colonBeforeTime,
                                          ExifDamage::contradictingBlocks,
                                          ExifDamage::trailingBytes,
                                          ExifDamage::truncatedBlock};

// The damage of the photo with this number, counted from 1. All kinds take turns, in the order above.
constexpr ExifDamage exifDamageOfPhoto(unsigned number) {
  return allExifDamage[(number - 1) % allExifDamage.size()];
}

inline constexpr unsigned samplePhotoWidth = 1440;
inline constexpr unsigned samplePhotoHeight = 1080;

struct SampleCardOptions {
  static constexpr unsigned mostFiles = 9999;  // of one kind: their numbers have four digits

  unsigned photos = 20;
  unsigned videos = 2;
  std::uint64_t seed = 1;
};

// Makes `directory` look like the card of a KODAK Charmera camera: the folders DCIM and SPIDCIM, photos of
// about 1 MB as DCIM/100CHRM/PICT0001.JPG and on, and videos of one to two seconds as MOVI0001.AVI and on, by
// turns with PCM and with IMA ADPCM sound; those with ADPCM repeat frames by their index. A new folder begins
// after a hundred of a kind. The camera's marker text stands within the first 512 bytes of each photo.
//
// The same options give the same bytes and modification times on every machine, and the n-th photo and video
// of a seed are the same on a card of any size. All times are in 2026 and, as FAT keeps them, even seconds; a
// photo is written two seconds after the moment that its Exif block gives, which is the time in UTC.
//
// Makes the folders down to `directory` where they are missing. Throws std::runtime_error when it is there
// and not an empty folder, when more files are asked for than mostFiles, and when something can't be written.
void writeSampleCard(const FileURL& directory, const SampleCardOptions& options);

}  // namespace tolvander::tests
