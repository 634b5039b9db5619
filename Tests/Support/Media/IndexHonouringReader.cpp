#include "Tests/Support/Media/IndexHonouringReader.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

namespace tolvander::tests {

namespace {

struct Place {
  std::size_t data = 0;  // where the chunk's bytes begin
  std::size_t size = 0;
};
using Places = std::map<int, std::vector<Place>>;  // by the number of the stream

std::uint32_t number(std::string_view file, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t index = 4; index-- > 0 && at + index < file.size();) {
    value = value << 8U | static_cast<unsigned char>(file[at + index]);
  }
  return value;
}

std::string_view name(std::string_view file, std::size_t at) {
  return file.substr(std::min(at, file.size()), 4);
}

bool isPrintable(std::string_view text) {
  return text.size() == 4 && std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

// The stream that a chunk of this name belongs to, -1 if none.
int streamOf(std::string_view chunk) {
  const bool isData = chunk.size() == 4 && std::isdigit(static_cast<unsigned char>(chunk[0])) != 0 &&
                      std::isdigit(static_cast<unsigned char>(chunk[1])) != 0 &&
                      (chunk.ends_with("dc") || chunk.ends_with("db") || chunk.ends_with("wb"));
  return isData ? (chunk[0] - '0') * 10 + (chunk[1] - '0') : -1;
}

struct Header {
  std::vector<PlayedStream> streams;  // of every type
  std::vector<std::uint32_t> lengths;
  std::vector<std::size_t> superIndexes;  // where each stream's indx begins, 0 if it has none
  std::uint32_t microsecondsAFrame = 0;
  std::uint32_t totalFrames = 0;
  std::size_t movie = 0;  // behind the word movi
};

// Looks for the few chunks that matter, whatever is around them.
Header readHeader(std::string_view file) {
  Header header;
  std::size_t at = 12;
  while (at + 12 <= file.size() && header.movie == 0) {
    const std::string_view chunk = name(file, at);
    const std::size_t size = number(file, at + 4);
    const std::size_t data = at + 8;
    if (chunk == "LIST" && name(file, data) == "movi") {
      header.movie = data + 4;
    } else if (chunk == "LIST" &&
               (name(file, data) == "hdrl" || name(file, data) == "strl" || name(file, data) == "odml")) {
      at = data + 4;
      continue;
    } else if (chunk == "avih") {
      header.microsecondsAFrame = number(file, data);
      header.totalFrames = number(file, data + 16);
    } else if (chunk == "dmlh") {
      header.totalFrames = number(file, data);
    } else if (chunk == "strh") {
      header.streams.push_back({.type = std::string(name(file, data)),
                                .rate = number(file, data + 24),
                                .scale = number(file, data + 20)});
      header.lengths.push_back(number(file, data + 32));
      header.superIndexes.push_back(0);
    } else if (chunk == "indx" && !header.superIndexes.empty()) {
      header.superIndexes.back() = data;
    }
    at = data + size + size % 2;
  }
  return header;
}

bool looksLikeChunk(std::string_view file, std::size_t at) {
  return at >= file.size() || (isPrintable(name(file, at)) && at + 8 + number(file, at + 4) <= file.size()) ||
         name(file, at) == std::string_view("\0\0\0\0", 4);
}

// Every chunk from behind `movi` to the end of the file; empty where something else is met.
std::optional<Places> walk(std::string_view file, std::size_t at) {
  Places places;
  while (at + 8 <= file.size()) {
    const std::string_view chunk = name(file, at);
    if (file[at] == '\0') {
      ++at;
      continue;
    }
    const std::size_t size = number(file, at + 4);
    const bool isOpened =
        (chunk == "LIST" && (name(file, at + 8) == "rec " || name(file, at + 8) == "movi")) ||
        (chunk == "RIFF");
    if (isOpened) {
      at += 12;
      continue;
    }
    if (!isPrintable(chunk) || at + 8 + size > file.size()) {
      return std::nullopt;
    }
    if (const int stream = streamOf(chunk); stream >= 0) {
      places[stream].push_back({at + 8, size});
    }
    if (chunk == "idx1") {
      // Only further RIFF lists count behind the index.
      at = file.find("RIFF", at + 8 + size);
      if (at == std::string_view::npos) {
        break;
      }
      continue;
    }
    at += 8 + size;
    if (size % 2 == 1 && (looksLikeChunk(file, at + 1) || !looksLikeChunk(file, at))) {
      ++at;
    }
  }
  return places;
}

// By idx1, if there is one whose entries all lead to chunks of their names from one and the same origin.
std::optional<Places> idx1(std::string_view file, std::size_t movie) {
  const std::size_t found = file.rfind("idx1");
  if (found == std::string_view::npos || found < movie) {
    return std::nullopt;
  }
  const std::size_t end = found + 8 + number(file, found + 4);
  if (end > file.size() || end == found + 8) {
    return std::nullopt;
  }
  for (const std::size_t origin : {movie - 4, movie, std::size_t{0}}) {
    Places places;
    bool leads = true;
    for (std::size_t entry = found + 8; entry + 16 <= end && leads; entry += 16) {
      const std::string_view chunk = name(file, entry);
      const std::size_t header = origin + number(file, entry + 8);
      const std::size_t size = number(file, entry + 12);
      const int stream = streamOf(chunk);
      if (stream >= 0) {
        leads = size == 0 || (name(file, header) == chunk && header + 8 + size <= file.size());
        places[stream].push_back({header + 8, size});
      }
    }
    if (leads) {
      return places;
    }
  }
  return std::nullopt;
}

// By the OpenDML indexes, if all of these streams have one.
std::optional<Places> openDML(std::string_view file, const Header& header) {
  Places places;
  for (std::size_t stream = 0; stream < header.streams.size(); ++stream) {
    const std::string& type = header.streams[stream].type;
    if (type != "vids" && type != "auds") {
      continue;
    }
    const std::size_t super = header.superIndexes[stream];
    if (super == 0) {
      return std::nullopt;
    }
    for (std::size_t list = 0; list < number(file, super + 4) && list < 1000; ++list) {
      const std::size_t index = number(file, super + 24 + 16 * list);  // files of tests are below 4 GB
      const std::size_t base = number(file, index + 8 + 12);
      if (index + 32 > file.size() || name(file, index).substr(0, 2) != "ix") {
        return std::nullopt;
      }
      for (std::size_t entry = 0; entry < number(file, index + 8 + 4) && entry < 100'000; ++entry) {
        const std::size_t data = base + number(file, index + 32 + 8 * entry);
        const std::size_t size = number(file, index + 36 + 8 * entry) & 0x7FFFFFFFU;
        if (size > 0 && (data < 8 || data + size > file.size() ||
                         streamOf(name(file, data - 8)) != static_cast<int>(stream))) {
          return std::nullopt;
        }
        places[static_cast<int>(stream)].push_back({data, size});
      }
    }
  }
  return places;
}

std::string_view bytesAt(std::string_view file, const Place& place) {
  return file.substr(std::min(place.data, file.size()), place.size);
}

bool areWholePictures(std::string_view file, const std::vector<Place>& places) {
  return std::ranges::all_of(places, [&](const Place& place) {
    std::string_view bytes = bytesAt(file, place);
    while (!bytes.empty() && (bytes.back() == '\0' || bytes.back() == '\xFF')) {
      bytes.remove_suffix(1);
    }
    return place.size == 0 || (bytes.starts_with("\xFF\xD8") && bytes.ends_with("\xFF\xD9"));
  });
}

std::set<std::size_t> placesWithBytes(const std::vector<Place>& places) {
  std::set<std::size_t> set;
  for (const Place& place : places) {
    if (place.size > 0) {
      set.insert(place.data);
    }
  }
  return set;
}

const std::vector<Place>& chosen(std::string_view file, const std::vector<Place>& walked,
                                 const std::vector<Place>& indexed, std::optional<std::uint32_t> length) {
  if (length && walked.size() != indexed.size()) {
    if (*length == indexed.size()) {
      return indexed;
    }
    if (*length == walked.size()) {
      return walked;
    }
  }
  const bool leavesOut = placesWithBytes(indexed).size() < placesWithBytes(walked).size();
  if (leavesOut) {
    return walked;
  }
  const bool onlyWalkIsWhole = length && areWholePictures(file, walked) && !areWholePictures(file, indexed);
  return onlyWalkIsWhole || indexed.size() < walked.size() ? walked : indexed;
}

void play(std::string_view file, const std::vector<Place>& places, PlayedStream& stream) {
  if (stream.type == "auds") {
    for (const Place& place : places) {
      stream.sound += bytesAt(file, place);
    }
    return;
  }
  // Frames before the first one with bytes show that one.
  std::string shown;
  for (const Place& place : places) {
    if (place.size > 0) {
      shown = bytesAt(file, place);
      break;
    }
  }
  for (const Place& place : places) {
    if (place.size > 0) {
      shown = bytesAt(file, place);
    }
    stream.shown.push_back(shown);
  }
}

}  // namespace

std::optional<PlayedAVI> playedAVI(std::string_view file) {
  if (file.size() < 12 || name(file, 0) != "RIFF") {
    return std::nullopt;
  }
  const Header header = readHeader(file);
  if (header.movie == 0) {
    return std::nullopt;
  }
  const std::optional<Places> walked = walk(file, header.movie);
  std::optional<Places> indexed = openDML(file, header);
  if (!indexed) {
    indexed = idx1(file, header.movie);
  }
  if (!walked && !indexed) {
    return std::nullopt;
  }
  PlayedAVI played;
  bool isFirstVideo = true;
  for (std::size_t index = 0; index < header.streams.size(); ++index) {
    PlayedStream stream = header.streams[index];
    if (stream.type != "vids" && stream.type != "auds") {
      continue;
    }
    if (stream.rate == 0 || stream.scale == 0) {
      stream.rate = 1'000'000;
      stream.scale = header.microsecondsAFrame;
    }
    const auto places = [index](const std::optional<Places>& all) {
      const auto found = all->find(static_cast<int>(index));
      return found == all->end() ? std::vector<Place>() : found->second;
    };
    if (walked && indexed) {
      const std::vector<Place> walkedPlaces = places(walked);
      const std::vector<Place> indexedPlaces = places(indexed);
      std::optional<std::uint32_t> length;
      if (stream.type == "vids") {
        length = header.lengths[index];
        if (isFirstVideo && *length != walkedPlaces.size() && *length != indexedPlaces.size()) {
          length = header.totalFrames;
        }
        isFirstVideo = false;
      }
      play(file, chosen(file, walkedPlaces, indexedPlaces, length), stream);
    } else {
      play(file, places(walked ? walked : indexed), stream);
    }
    played.streams.push_back(std::move(stream));
  }
  return played;
}

}  // namespace tolvander::tests
