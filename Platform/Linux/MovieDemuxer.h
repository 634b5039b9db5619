#pragma once

#include <cstdint>
#include <vector>

#include "Platform/Linux/LibAV.h"
#include "Platform/Linux/MovieFile.h"
#include "TolvanderCore/Cancellation.h"

namespace tolvander::platform::linux_ {

enum class MovieContainer { avi, quickTime };

enum class EditLists {
  ignored,  // every sample that is in the file
  applied,  // what a player would show, at its time
};

// Takes a movie file apart into the packets of its streams, as they are stored. Nothing is decoded, no other
// file is opened, and no header is believed about what follows it.
//
// Throws, as all operations do, MovieError::unreadable and CancellationError.
class MovieDemuxer {
 public:
  MovieDemuxer(const MovieFile& file, EditLists editLists, const CancellationToken& token);
  MovieDemuxer(const MovieDemuxer&) = delete;
  MovieDemuxer& operator=(const MovieDemuxer&) = delete;

  MovieContainer container() const { return container_; }
  int streamCount() const { return static_cast<int>(context_->nb_streams); }
  const AVStream& stream(int index) const { return *context_->streams[index]; }
  const AVDictionary* metadata() const { return context_->metadata; }

  // Leaves out the packets of a stream from now on, without reading them where the format allows.
  void skip(int index) { context_->streams[index]->discard = AVDISCARD_ALL; }

  // Takes skip() back.
  void keep(int index) { context_->streams[index]->discard = AVDISCARD_NONE; }

  // The next packet in the order of the file; false at the end. A packet without data is a frame that an AVI
  // repeats. Throws also where a packet is cut off or damaged by the account of the container.
  //
  // Video of an AVI has its time in dts and pts, counted from 0 at the stream's first packet, and a duration
  // of one frame. Sound of an AVI has no times: the container's are wrong in too many files, and they follow
  // from counting.
  bool read(AVPacket& packet);

 private:
  static int isInterrupted(void* self);

  void checkForInterruption() const;
  [[noreturn]] void fail(const char* reason) const;
  void timeFromStart(AVPacket& packet);

  const MovieFile& file_;
  CancellationToken token_;
  MovieFileIO io_;
  MovieContainer container_;
  FormatInputPointer context_;
  std::vector<std::int64_t> firstTimes_;  // of each AVI stream
};

}  // namespace tolvander::platform::linux_
