#pragma once

#include "Platform/Linux/Movies/LibAV.h"

namespace tolvander::platform::linux_ {

// Takes a movie file apart into the packets of its streams, as they are stored. Nothing is decoded, no other
// file is opened, and no header is believed about what follows it.
//
// Throws, as all operations do, MovieError::unreadable and CancellationError.
class MovieDemuxer {
 public:
  virtual ~MovieDemuxer() = default;
  MovieDemuxer(const MovieDemuxer&) = delete;
  MovieDemuxer& operator=(const MovieDemuxer&) = delete;

  int streamCount() const { return static_cast<int>(context_->nb_streams); }
  const AVStream& stream(int index) const { return *context_->streams[index]; }
  const AVDictionary* metadata() const { return context_->metadata; }

  // Leaves out the packets of a stream, without reading them where the format allows. Before the first packet
  // is read.
  void skip(int index) { context_->streams[index]->discard = AVDISCARD_ALL; }

  // Takes skip() back.
  void keep(int index) { context_->streams[index]->discard = AVDISCARD_NONE; }

  // The next packet in the order of the file; false at the end. Throws also where a packet is cut off or
  // damaged by the account of the container.
  virtual bool read(AVPacket& packet) = 0;

 protected:
  MovieDemuxer();

  bool isSkipped(int index) const { return stream(index).discard == AVDISCARD_ALL; }

  FormatInputPointer context_;
};

}  // namespace tolvander::platform::linux_
