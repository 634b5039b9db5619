#include "Samples/SampleCard.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Samples/AVIWriter.h"
#include "Samples/JPEGBuilder.h"
#include "Samples/JPEGCodec.h"
#include "Samples/SyntheticPhoto.h"

namespace tolvander::tests {

namespace {

namespace fs = std::filesystem;
using std::chrono::sys_seconds;

constexpr std::size_t sectorSize = 512;
constexpr unsigned filesPerFolder = 100;
constexpr std::string_view markerText = "GPEncoder";

constexpr int photoQuality = 97;
constexpr int videoQuality = 60;
constexpr unsigned framesPerSecond = 30;
constexpr unsigned distinctFrames = 6;

// Every second video is from a camera that could not keep up: its slots 5, 6, 12, 13, 19, 20, … repeat the
// frame before, and only the index says so.
constexpr std::string_view repeatingPacker = "GP$322 Generalplus AviPackerV3 20130103";
constexpr bool isRepeated(unsigned slot) { return slot % 7 >= 5; }

// One kind of file on the card.
struct FileKind {
  std::string_view stem;
  std::string_view extension;
  std::uint64_t stream;  // keeps its random numbers apart from those of the other kind
};

constexpr FileKind photoKind{"PICT", "JPG", 0};
constexpr FileKind videoKind{"MOVI", "AVI", 1};

// One file before it is written.
struct CardFile {
  FileURL url;
  std::uint64_t seed;
  sys_seconds captured;  // an even second
};

std::string formatted(const char* format, unsigned number) {
  std::array<char, 16> text = {};
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

// Forty minutes from file to file, give or take twenty, so that even mostFiles end before the year does.
sys_seconds captureTime(std::uint64_t cardSeed, std::uint64_t fileSeed, unsigned number) {
  using namespace std::chrono_literals;
  constexpr sys_seconds start = std::chrono::sys_days(2026y / 1 / 2);
  constexpr std::uint64_t minutesOfThirtyDays = 43'200;
  const std::chrono::minutes firstDays(scrambled(cardSeed) % minutesOfThirtyDays);
  const std::chrono::seconds sinceFile(scrambled(fileSeed) % 1200 * 2);
  return start + firstDays + 40min * number + sinceFile;
}

CardFile cardFile(const FileURL& card, const FileKind& kind, unsigned number, std::uint64_t cardSeed) {
  const std::uint64_t seed = scrambled(scrambled(cardSeed) + 2 * std::uint64_t{number} + kind.stream);
  const std::string folder = formatted("%03uCHRM", 100 + (number - 1) / filesPerFolder);
  const std::string name =
      std::string(kind.stem) + formatted("%04u", number) + "." + std::string(kind.extension);
  return {card.appending("DCIM").appending(folder).appending(name), seed,
          captureTime(cardSeed, seed, number)};
}

std::string exifDate(sys_seconds time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  std::array<char, 64> text = {};
  std::snprintf(text.data(), text.size(), "%04d:%02u:%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text.data();
}

constexpr std::uint16_t dateTag = 306;
constexpr std::uint16_t exifPointerTag = 34665;
constexpr std::uint16_t originalDateTag = 36867;
constexpr std::uint16_t digitizedDateTag = 36868;
constexpr std::uint16_t asciiType = 2;
constexpr std::uint16_t longType = 4;

TIFFBuilder cameraDirectory() {
  return TIFFBuilder()
      .ascii(271, std::string_view("KODAK\0", 6))
      .ascii(272, std::string_view("Charmera\0", 9))
      .orientation(1);
}

TIFFBuilder datedDirectories(std::string_view date) {
  TIFFBuilder builder = cameraDirectory();
  const Bytes width = builder.integer32(samplePhotoWidth);
  const Bytes height = builder.integer32(samplePhotoHeight);
  return builder.modifiedDate(date)
      .originalDate(date)
      .digitizedDate(date)
      .exifEntry(40962, longType, 1, width)
      .exifEntry(40963, longType, 1, height);
}

TIFFBuilder datesOutsideBlock() {
  TIFFBuilder builder = cameraDirectory();
  const Bytes farAway = builder.integer32(0x00FFFFF0);
  constexpr std::uint32_t dateLength = 20;
  return builder.entry(dateTag, asciiType, dateLength, farAway)
      .exifEntry(originalDateTag, asciiType, dateLength, farAway)
      .exifEntry(digitizedDateTag, asciiType, dateLength, farAway);
}

TIFFBuilder directoryInItself(std::string_view date) {
  TIFFBuilder builder = cameraDirectory();
  constexpr std::uint32_t firstDirectory = 8;
  return builder.modifiedDate(date).entry(exifPointerTag, longType, 1, builder.integer32(firstDirectory));
}

Bytes withWrongByteOrder(Bytes block) {
  std::fill_n(block.begin(), 2, std::byte{'M'});
  return block;
}

// Ends among the entries of the Exif directory.
Bytes truncated(Bytes block) {
  block.resize(block.size() * 2 / 3);
  return block;
}

std::string withColonBeforeTime(std::string date) {
  date[10] = ':';
  return date;
}

// The TIFF structures of the photo's Exif blocks, in their order.
std::vector<Bytes> exifBlocks(ExifDamage damage, sys_seconds captured) {
  const std::string date = exifDate(captured);
  switch (damage) {
    case ExifDamage::none:
    case ExifDamage::trailingBytes:
      return {datedDirectories(date).build()};
    case ExifDamage::missing:
      return {};
    case ExifDamage::wrongByteOrder:
      return {withWrongByteOrder(datedDirectories(date).build())};
    case ExifDamage::valuesOutsideBlock:
      return {datesOutsideBlock().build()};
    case ExifDamage::directoryLoop:
      return {directoryInItself(date).build()};
    case ExifDamage::zeroDates:
      return {datedDirectories("0000:00:00 00:00:00").build()};
    case ExifDamage::colonBeforeTime:
      return {datedDirectories(withColonBeforeTime(date)).build()};
    case ExifDamage::contradictingBlocks:
      return {datedDirectories(date).build(),
              datedDirectories(exifDate(captured - std::chrono::days(365))).build()};
    case ExifDamage::truncatedBlock:
      return {truncated(datedDirectories(date).build())};
  }
  throw std::runtime_error("no such damage");
}

std::string_view characters(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The encoder's file behind its start-of-image marker.
std::span<const std::byte> behindStart(const Bytes& jpeg) { return std::span(jpeg).subspan(2); }

Bytes photo(std::uint64_t seed, ExifDamage damage, sys_seconds captured) {
  const Bytes picture = encodeJPEG(syntheticPhoto(samplePhotoWidth, samplePhotoHeight, seed), photoQuality);
  const std::vector<Bytes> blocks = exifBlocks(damage, captured);
  JPEGBuilder file;
  file.jfif();
  // The marker text has to stand near the start, and so in front of a second block.
  if (!blocks.empty()) {
    file.exif(blocks.front());
  }
  file.comment(markerText);
  if (blocks.size() > 1) {
    file.exif(blocks.back());
  }
  file.raw(behindStart(picture));
  if (damage == ExifDamage::trailingBytes) {
    file.raw(Bytes(sectorSize - file.size() % sectorSize));
  }
  return file.build();
}

void writeFile(const FileURL& url, std::string_view content) {
  std::ofstream file(url.path(), std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!file.flush()) {
    throw std::runtime_error("can't write " + url.path());
  }
}

void setModificationTime(const FileURL& url, sys_seconds time) {
  const timespec whole{static_cast<time_t>(time.time_since_epoch().count()), 0};
  const std::array times{whole, whole};
  if (utimensat(AT_FDCWD, url.path().c_str(), times.data(), 0) != 0) {
    throw std::system_error(errno, std::generic_category(), "can't set the time of " + url.path());
  }
}

// A faint hiss, as bytes of samples: any of these is a valid PCM sample, or a head and samples of ADPCM.
std::string hiss(const AVIAudioFormat& format, std::size_t units, std::uint64_t seed) {
  const bool isADPCM = format.samplesPerBlock > 1;
  constexpr unsigned headSize = 4;  // of an IMA ADPCM block: first sample and step index, both 0
  std::string sound;
  while (sound.size() < units * format.blockAlign) {
    const std::uint64_t random = scrambled(seed++);
    if (!isADPCM) {
      const auto sample = static_cast<std::uint16_t>(random % 257 - 128);
      sound += static_cast<char>(sample & 0xFFU);
      sound += static_cast<char>(sample >> 8U);
    } else if (sound.size() % format.blockAlign < headSize) {
      sound += '\0';
    } else {
      sound += static_cast<char>(random & 0x99U);  // two samples, each a least step up or down
    }
  }
  return sound;
}

void writeVideo(const CardFile& file, const AVIAudioFormat& sound, bool repeatsFrames) {
  AVIHeader header{.width = 640, .height = 480, .rate = framesPerSecond, .audio = {sound}};
  if (repeatsFrames) {
    header.packer = repeatingPacker;
  }
  std::vector<Bytes> pictures;
  for (unsigned index = 0; index < distinctFrames; ++index) {
    const RGBImage image = syntheticPhoto(header.width, header.height, scrambled(file.seed) + index);
    const Bytes picture = encodeJPEG(image, videoQuality);
    pictures.push_back(JPEGBuilder().jfif().raw(behindStart(picture)).build());
  }

  AVIWriter writer(file.url, header);
  const auto frames = static_cast<unsigned>(framesPerSecond + file.seed % (framesPerSecond + 1));
  std::size_t written = 0;  // PCM samples, or blocks
  for (unsigned frame = 0; frame < frames; ++frame) {
    if (repeatsFrames && isRepeated(frame)) {
      writer.repeatByIndex();
    } else {
      writer.video(characters(pictures[frame % distinctFrames]));
    }
    const std::size_t due =
        std::size_t{frame + 1} * sound.sampleRate / framesPerSecond / sound.samplesPerBlock;
    if (due > written) {
      writer.audio(hiss(sound, due - written, scrambled(file.seed + frame)));
      written = due;
    }
  }
  writer.finish();
}

void refuseOtherThanEmptyFolder(const FileURL& directory) {
  if (!fs::exists(directory.path())) {
    return;
  }
  if (!fs::is_directory(directory.path())) {
    throw std::runtime_error(directory.path() + " is not a folder");
  }
  if (!fs::is_empty(directory.path())) {
    throw std::runtime_error(directory.path() + " is not empty");
  }
}

}  // namespace

void writeSampleCard(const FileURL& directory, const SampleCardOptions& options) {
  if (std::max(options.photos, options.videos) > SampleCardOptions::mostFiles) {
    throw std::runtime_error("a card holds at most " + std::to_string(SampleCardOptions::mostFiles) +
                             " photos and as many videos");
  }
  refuseOtherThanEmptyFolder(directory);
  fs::create_directories(directory.appending("DCIM").path());
  fs::create_directories(directory.appending("SPIDCIM").path());
  const auto place = [&](const FileKind& kind, unsigned number) {
    CardFile file = cardFile(directory, kind, number, options.seed);
    fs::create_directories(file.url.deletingLastPathComponent().path());
    return file;
  };

  for (unsigned number = 1; number <= options.photos; ++number) {
    const CardFile file = place(photoKind, number);
    writeFile(file.url, characters(photo(file.seed, exifDamageOfPhoto(number), file.captured)));
    setModificationTime(file.url, file.captured + std::chrono::seconds(2));
  }
  for (unsigned number = 1; number <= options.videos; ++number) {
    const CardFile file = place(videoKind, number);
    const bool isSecond = number % 2 == 0;
    writeVideo(file, isSecond ? AVIAudioFormat::imaADPCM() : AVIAudioFormat::pcm16(), isSecond);
    setModificationTime(file.url, file.captured + std::chrono::seconds(2));
  }
}

}  // namespace tolvander::tests
