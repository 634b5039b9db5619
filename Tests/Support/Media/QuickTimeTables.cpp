#include "Tests/Support/Media/QuickTimeTables.h"

#include <optional>
#include <stdexcept>

namespace tolvander::tests {

namespace {

std::uint64_t number(std::string_view bytes, std::size_t at, std::size_t width = 4) {
  if (at + width > bytes.size()) {
    throw std::runtime_error("a table of the movie is cut off");
  }
  std::uint64_t value = 0;
  for (std::size_t index = 0; index < width; ++index) {
    value = value << 8U | static_cast<unsigned char>(bytes[at + index]);
  }
  return value;
}

std::uint32_t number32(std::string_view bytes, std::size_t at) {
  return static_cast<std::uint32_t>(number(bytes, at));
}

struct Atom {
  std::string_view type;
  std::string_view content;
};

std::vector<Atom> atomsOf(std::string_view bytes) {
  std::vector<Atom> atoms;
  while (bytes.size() >= 8) {
    std::uint64_t size = number(bytes, 0);
    std::size_t head = 8;
    if (size == 1) {
      size = number(bytes, 8, 8);
      head = 16;
    }
    if (size < head || size > bytes.size()) {
      throw std::runtime_error("an atom of the movie is cut off");
    }
    atoms.push_back({bytes.substr(4, 4), bytes.substr(head, size - head)});
    bytes.remove_prefix(size);
  }
  return atoms;
}

std::optional<std::string_view> found(std::string_view bytes, std::string_view type) {
  for (const Atom& atom : atomsOf(bytes)) {
    if (atom.type == type) {
      return atom.content;
    }
  }
  return std::nullopt;
}

// The content of the atom at the end of a path of types.
std::string_view at(std::string_view bytes, std::initializer_list<std::string_view> path) {
  for (const std::string_view type : path) {
    const auto content = found(bytes, type);
    if (!content) {
      throw std::runtime_error("the movie has no " + std::string(type));
    }
    bytes = *content;
  }
  return bytes;
}

std::vector<std::uint64_t> chunkOffsets(std::string_view table) {
  const auto narrow = found(table, "stco");
  const std::string_view offsets = narrow ? *narrow : at(table, {"co64"});
  const std::size_t width = narrow ? 4 : 8;
  std::vector<std::uint64_t> result;
  for (std::size_t index = 0; index < number(offsets, 4); ++index) {
    result.push_back(number(offsets, 8 + width * index, width));
  }
  return result;
}

void readSamples(std::string_view file, std::string_view table, QuickTimeTrack& track) {
  const std::string_view times = at(table, {"stts"});
  for (std::size_t run = 0; run < number(times, 4); ++run) {
    track.durations.insert(track.durations.end(), number(times, 8 + 8 * run), number32(times, 12 + 8 * run));
  }
  const std::string_view sizes = at(table, {"stsz"});
  for (std::size_t sample = 0; sample < number(sizes, 8); ++sample) {
    const std::uint32_t common = number32(sizes, 4);
    track.sizes.push_back(common != 0 ? common : number32(sizes, 12 + 4 * sample));
  }
  const std::string_view runs = at(table, {"stsc"});
  const std::vector<std::uint64_t> offsets = chunkOffsets(table);
  std::size_t sample = 0;
  std::size_t run = 0;
  for (std::size_t chunk = 0; chunk < offsets.size(); ++chunk) {
    if (run + 1 < number(runs, 4) && number(runs, 8 + 12 * (run + 1)) == chunk + 1) {
      ++run;
    }
    std::uint64_t offset = offsets[chunk];
    for (std::uint64_t left = number(runs, 12 + 12 * run); left > 0; --left, ++sample) {
      track.bytes += file.substr(offset, track.sizes.at(sample));
      offset += track.sizes[sample];
    }
  }
}

bool isEdited(std::string_view track) {
  const auto edits = found(track, "edts");
  if (!edits) {
    return false;
  }
  const std::string_view list = at(*edits, {"elst"});
  const bool isWide = list.at(0) == 1;
  const bool isWhole = number(list, 4) == 1 && number(list, isWide ? 16 : 12, isWide ? 8 : 4) == 0 &&
                       number(list, isWide ? 24 : 16) == 0x00010000;
  return !isWhole;
}

}  // namespace

std::vector<std::string> QuickTimeTrack::samples() const {
  std::vector<std::string> result;
  std::size_t offset = 0;
  for (const std::uint32_t size : sizes) {
    result.push_back(bytes.substr(offset, size));
    offset += size;
  }
  return result;
}

std::vector<std::string> QuickTimeTrack::shown(std::uint32_t rate, std::uint32_t scale) const {
  std::vector<std::string> shown;
  const std::vector<std::string> frames = samples();
  const std::uint64_t ticksPerSlotTimesRate = std::uint64_t{timeScale} * scale;
  for (std::size_t index = 0; index < frames.size(); ++index) {
    const std::uint64_t ticksTimesRate = std::uint64_t{durations.at(index)} * rate;
    if (ticksTimesRate % ticksPerSlotTimesRate != 0) {
      throw std::runtime_error("a frame lasts no whole number of slots");
    }
    shown.insert(shown.end(), ticksTimesRate / ticksPerSlotTimesRate, frames[index]);
  }
  return shown;
}

std::vector<QuickTimeTrack> quickTimeTracks(std::string_view file) {
  std::vector<QuickTimeTrack> tracks;
  for (const Atom& atom : atomsOf(at(file, {"moov"}))) {
    if (atom.type != "trak") {
      continue;
    }
    QuickTimeTrack track;
    const std::string_view header = at(atom.content, {"mdia", "mdhd"});
    track.timeScale = number32(header, header.at(0) == 1 ? 20 : 12);
    track.kind = at(atom.content, {"mdia", "hdlr"}).substr(8, 4);
    track.isEdited = isEdited(atom.content);
    readSamples(file, at(atom.content, {"mdia", "minf", "stbl"}), track);
    tracks.push_back(std::move(track));
  }
  return tracks;
}

}  // namespace tolvander::tests
