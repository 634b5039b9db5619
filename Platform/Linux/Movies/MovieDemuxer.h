#pragma once

#include "Platform/Linux/Movies/LibAV.h"

namespace tolvander::platform::linux_ {

// Reads the packets of a movie's streams as they are stored. Decodes nothing, opens no other file, and
// doesn't trust headers about the data that follows them.
class MovieDemuxer {
 public:
  virtual ~MovieDemuxer() = default;
  MovieDemuxer(const MovieDemuxer&) = delete;
  MovieDemuxer& operator=(const MovieDemuxer&) = delete;

  int streamCount() const { return static_cast<int>(context_->nb_streams); }
  const AVStream& stream(int index) const { return *context_->streams[index]; }
  const AVDictionary* metadata() const { return context_->metadata; }

  // Skips the packets of a stream, without reading them if the format allows that. To be called before the
  // first packet is read.
  void skip(int index) { context_->streams[index]->discard = AVDISCARD_ALL; }

  // Undoes skip().
  void keep(int index) { context_->streams[index]->discard = AVDISCARD_NONE; }

  // Reads the next packet in the order of the file; returns false at the end. Also throws if a packet is
  // truncated or damaged according to the container.
  virtual bool read(AVPacket& packet) = 0;

 protected:
  MovieDemuxer();

  bool isSkipped(int index) const { return stream(index).discard == AVDISCARD_ALL; }

  FormatInputPointer context_;
};

}  // namespace tolvander::platform::linux_
