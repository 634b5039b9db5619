#include "Tests/Platform/Movies/SmallAVI.h"

#include <algorithm>

namespace tolvander::tests {

namespace {

std::string little(std::uint64_t value, unsigned count) {
  std::string bytes;
  for (unsigned index = 0; index < count; ++index) {
    bytes += static_cast<char>(value >> 8 * index & 0xFFU);
  }
  return bytes;
}

std::string streamHeader(const std::string& type, const std::string& handler, std::uint32_t scale,
                         std::uint32_t rate, std::uint32_t length) {
  return riffChunk("strh", type + handler + std::string(12, '\0') + little32(scale) + little32(rate) +
                               little32(0) + little32(length) + std::string(20, '\0'));
}

}  // namespace

std::string little16(std::uint64_t value) { return little(value, 2); }
std::string little32(std::uint64_t value) { return little(value, 4); }
std::string little64(std::uint64_t value) { return little(value, 8); }

std::string riffChunk(std::string_view name, std::string_view content) {
  return std::string(name) + little32(content.size()) + std::string(content) +
         std::string(content.size() % 2, '\0');
}

std::string riffList(std::string_view type, std::string_view content) {
  return riffChunk("LIST", std::string(type) + std::string(content));
}

std::string picture(char fill, std::size_t size) {
  return "\xFF\xD8" + std::string(size - 4, fill) + "\xFF\xD9";
}

SmallAVI::SmallAVI()
    : soundFormat(little16(1) + little16(1) + little32(8000) + little32(16'000) + little16(2) +
                  little16(16)) {}

void SmallAVI::add(std::string_view name, std::string_view content) {
  addClaiming(static_cast<std::uint32_t>(content.size()), name, content);
}

void SmallAVI::addClaiming(std::uint32_t size, std::string_view name, std::string_view content) {
  entries.push_back({std::string(name), static_cast<std::uint32_t>(4 + samples.size()),
                     static_cast<std::uint32_t>(content.size())});
  samples += riffChunk(name, content).replace(4, 4, little32(size));
}

void SmallAVI::repeat(std::string_view name) {
  const auto last =
      std::find_if(entries.rbegin(), entries.rend(), [&](const Entry& entry) { return entry.name == name; });
  entries.push_back(Entry(*last));
}

SmallAVI SmallAVI::plain() {
  SmallAVI avi;
  for (const char letter : {'a', 'b', 'c'}) {
    avi.add("00dc", picture(letter));
    avi.add("01wb", std::string(4, static_cast<char>(letter - 'a' + 'A')));
  }
  return avi;
}

std::string SmallAVI::header() const {
  const std::string main =
      little32(microsecondsPerFrame) + std::string(12, '\0') + little32(movieFrames) + std::string(36, '\0');
  const std::string video = streamHeader("vids", videoHandler, scale, rate, streamFrames) +
                            riffChunk("strf", little32(40) + little32(64) + little32(48) + little16(1) +
                                                  little16(24) + videoFormat + std::string(20, '\0')) +
                            videoIndex;
  const std::string sound = streamHeader(soundType, std::string(4, '\0'), 1, 8000, soundLength) +
                            riffChunk("strf", soundFormat) + soundIndex;
  const std::string extended =
      extendedFrames ? riffList("odml", riffChunk("dmlh", little32(*extendedFrames))) : "";
  return "RIFF" + little32(0) + "AVI " +
         riffList("hdrl",
                  riffChunk("avih", main) + riffList("strl", video) + riffList("strl", sound) + extended);
}

std::string SmallAVI::bytes() const {
  const std::string start = header();
  const std::uint64_t word = start.size() + 8;
  const std::uint64_t from = base == Base::word ? 0 : base == Base::behindWord ? 4 : word;
  std::string index;
  for (const Entry& entry : entries) {
    const std::uint64_t offset = base == Base::file ? entry.offset + from : entry.offset - from;
    index += entry.name + little32(0x10) + little32(offset) + little32(entry.size);
  }
  const auto trueSize = static_cast<std::int64_t>(4 + samples.size());
  const auto size = declaredSize ? *declaredSize : static_cast<std::uint32_t>(trueSize + slip);
  return start + "LIST" + little32(size) + "movi" + samples + behindSamples +
         (hasIndex ? riffChunk("idx1", index) : "") + behindIndex;
}

}  // namespace tolvander::tests
