#include "Platform/Linux/Movies/MovieSource.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "Platform/Linux/Movies/AVIDemuxer.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::platform::linux_ {

namespace {

enum class Container { none, avi, quickTime };

Container containerOf(const MovieFile& file) {
  std::array<char, 12> start{};
  if (pread(file.descriptor(), start.data(), start.size(), 0) != static_cast<ssize_t>(start.size())) {
    return Container::none;
  }
  const std::string_view text(start.data(), start.size());
  if (text.starts_with("RIFF") && text.substr(8) == "AVI ") {
    return Container::avi;
  }
  constexpr std::array<std::string_view, 6> firstAtoms = {"ftyp", "moov", "mdat", "wide", "free", "skip"};
  return std::ranges::find(firstAtoms, text.substr(4, 4)) != firstAtoms.end() ? Container::quickTime
                                                                              : Container::none;
}

}  // namespace

MovieSource MovieSource::open(const FileURL& url, const CancellationToken& token) {
  MovieFile file = MovieFile::openForReading(url);
  const Container container = containerOf(file);
  if (container == Container::none) {
    throw MovieError(MovieError::Case::unreadable, url, "neither AVI nor QuickTime");
  }
  std::optional<AVIReading> avi;
  if (container == Container::avi) {
    avi = readAVI(file, token);
  }
  return {.file = std::move(file), .avi = std::move(avi)};
}

std::unique_ptr<MovieDemuxer> MovieSource::demuxer(EditLists editLists,
                                                   const CancellationToken& token) const {
  if (avi) {
    return std::make_unique<AVIDemuxer>(file, *avi, token);
  }
  return std::make_unique<QuickTimeDemuxer>(file, editLists, token);
}

}  // namespace tolvander::platform::linux_
