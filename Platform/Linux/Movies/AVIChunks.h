#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <queue>
#include <utility>
#include <vector>

namespace tolvander::platform::linux_ {

// The bytes of one video frame, or one chunk of audio.
struct AVIChunk {
  std::int64_t offset = 0;  // of its content
  std::uint32_t size = 0;   // at least 1
  std::uint32_t slots = 0;  // duration of a frame, in frames of the header's rate

  friend bool operator==(const AVIChunk&, const AVIChunk&) = default;
};

// The chunks of one stream according to one structure of the file.
struct AVIStreamChunks {
  std::vector<AVIChunk> chunks;  // by ascending offset
  std::int64_t slots = 0;        // sum

  // A slot without a frame extends the frame before it, or the first frame if there is none before.
  void addEmpty() {
    ++slots;
    if (!chunks.empty()) {
      ++chunks.back().slots;
    }
  }

  void add(std::int64_t offset, std::uint32_t size) {
    ++slots;
    chunks.push_back(
        {.offset = offset, .size = size, .slots = chunks.empty() ? static_cast<std::uint32_t>(slots) : 1});
  }
};

// Iterates over the chunks of several streams in the order of their offsets. The streams must outlive it.
class ChunksInFileOrder {
 public:
  struct Next {
    std::size_t stream = 0;
    AVIChunk chunk;
  };

  explicit ChunksInFileOrder(const std::vector<AVIStreamChunks>& streams) : streams_(streams) {
    for (std::size_t stream = 0; stream < streams.size(); ++stream) {
      push({.stream = stream, .chunk = 0});
    }
  }

  std::optional<Next> next() {
    if (queue_.empty()) {
      return std::nullopt;
    }
    const Place place = queue_.top().second;
    queue_.pop();
    push({.stream = place.stream, .chunk = place.chunk + 1});
    return Next{.stream = place.stream, .chunk = streams_[place.stream].chunks[place.chunk]};
  }

 private:
  struct Place {
    std::size_t stream = 0;
    std::size_t chunk = 0;
    friend auto operator<=>(const Place&, const Place&) = default;
  };
  using Entry = std::pair<std::int64_t, Place>;  // by offset

  void push(Place place) {
    const std::vector<AVIChunk>& chunks = streams_[place.stream].chunks;
    if (place.chunk < chunks.size()) {
      queue_.emplace(chunks[place.chunk].offset, place);
    }
  }

  const std::vector<AVIStreamChunks>& streams_;
  std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue_;
};

}  // namespace tolvander::platform::linux_
