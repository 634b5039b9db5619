#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/CaseError.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

enum class MovieErrorCase { unreadable, exportFailed, destinationExists };

// The platform could not read or write a movie.
class MovieError final : public CaseError<MovieErrorCase> {
 public:
  MovieError(Case what, const FileURL& url, std::string_view reason)
      : CaseError(what, "cannot " + std::string(what == Case::unreadable ? "read " : "write ") + url.path() +
                            " as a movie: " + std::string(reason)) {}

  std::string_view domain() const override { return "TolvanderCore.MovieError"; }
};

enum class MediaType { video, audio };

// One track, described by its samples. Counts, durations and picture sizes that are only claimed by headers
// are not used. A stream without samples is no track, nor is a still picture that represents the file (cover
// art).
struct MovieTrack {
  // Video only: pixels, before any rotation that the container asks for. Taken from the encoded data; in
  // Motion JPEG, where each frame has its own size, the greatest of all frames. The container's claim is used
  // only if the encoded data has no size.
  double naturalWidth = 0;
  double naturalHeight = 0;

  // Video only: frames per second. For an AVI, the rate in the stream's header, which counts repeated frames
  // too. The exporter writes it into the QuickTime movie's metadata, from where it is read again. For other
  // QuickTime movies, the number of samples divided by the duration.
  double nominalFrameRate = 0;

  // The time range in seconds, from the earliest sample to the end of the latest. Edit lists are not applied.
  double start = 0;
  double duration = 0;

  // The media sub-types of the track's formats as QuickTime four-character codes, with the first character in
  // the most significant byte. An encoding has the same code in every container.
  std::vector<std::uint32_t> codecs;

  friend bool operator==(const MovieTrack&, const MovieTrack&) = default;
};

// The creation date in the movie's metadata: an instant, or a text if that is all the movie has.
struct MovieCreationDate {
  std::optional<Date> date;
  std::optional<std::string> text;

  friend bool operator==(const MovieCreationDate&, const MovieCreationDate&) = default;
};

// When a video frame is shown: seconds from the start of the movie (edit lists are not applied), and seconds
// until the next frame or the end of the track. The duration is 0 if the container doesn't have it.
struct MovieSampleTime {
  double start = 0;
  double duration = 0;

  friend bool operator==(const MovieSampleTime&, const MovieSampleTime&) = default;
};

// Samples of one track as they are stored, without decoding. A sample is one video frame, or the sound of one
// instant (all channels), or one packet of an encoding without a fixed number of either. The number of
// samples doesn't depend on the container. A repetition of a frame without data is not a sample: it lengthens
// the frame before it. An incomplete sample at the end of a track of uncompressed sound is left out.
struct MovieSampleBuffer {
  std::int64_t sampleCount = 0;              // at least 1
  std::span<const std::byte> bytes;          // valid only during the call of the receiver
  std::optional<MovieSampleTime> time = {};  // of video, whose buffers hold one sample each; absent for sound
};

// A movie file, opened for reading: AVI, QuickTime or MPEG-4, recognised by its content and not by its name.
// No other file is opened: references to other files and playlists are refused. Holds a file descriptor.
// Immutable; safe on several threads at once.
//
// Tracks are in the order of the file. Tracks that are neither video nor audio (subtitles, timecode, data)
// are ignored. Documentation/avi.md defines the frames and sound of an AVI whose structures contradict each
// other.
class Movie {
 public:
  // Reads the whole file once. Needs memory for a few frames, and at most 64 MiB for the positions of an
  // AVI's chunks. Checks for cancellation at each read. Throws CancellationError, PosixError if the file
  // can't be opened, and MovieError::unreadable if it is not such a movie, is incomplete or can't be read to
  // its end, is an AVI whose structures contradict each other irresolvably, or has sound of an unknown
  // format.
  explicit Movie(const FileURL& url, const CancellationToken& token = {});
  ~Movie();
  Movie(Movie&&) noexcept;
  Movie& operator=(Movie&&) noexcept;

  const FileURL& url() const;
  const std::vector<MovieTrack>& tracks(MediaType type) const;

  // Seconds from 0 to the end of the longest track.
  double duration() const;

  // The first creation date in the movie's metadata, if any.
  const std::optional<MovieCreationDate>& creationDate() const;

  // Calls `receive` with all samples of one track, in the order of the file. `index` is the track's index in
  // tracks(type). Exceptions of `receive` are passed on. Throws CancellationError, and
  // MovieError::unreadable, also if the file has changed so that the track ends in another place.
  using SampleReceiver = std::function<void(const MovieSampleBuffer&)>;
  void readSamples(MediaType type, std::size_t index, const SampleReceiver& receive,
                   const CancellationToken& token = {}) const;

  // The file's data, defined by the platform's implementation.
  struct Contents;
  const Contents& contents() const { return *contents_; }

 private:
  std::unique_ptr<Contents> contents_;
};

struct MovieExportRequest {
  FileURL destination;
  std::optional<std::string> creationDate = {};  // text for the movie's metadata, ISO 8601
  std::int64_t fileLengthLimit = 0;              // maximum size of the new file in bytes
};

// Writes the samples of a movie, unchanged, into a new QuickTime movie. Stateless; safe on every thread.
class MovieExporter {
 public:
  virtual ~MovieExporter() = default;

  // Whether a QuickTime movie can hold every video and audio track of this one without re-encoding.
  virtual bool canExport(const Movie& movie) const = 0;

  // Blocks until the new file is complete and closed. All video and audio tracks are copied in their order,
  // with their rotation; tracks of other kinds are left out. The file must not exist. It need not survive a
  // power loss.
  //
  // Throws MovieError: destinationExists if there is a file or a symbolic link at the destination, which is
  // then not changed; exportFailed if the movie can't be read, or the file can't be created or written, or
  // would exceed its limit. Throws CancellationError, checked at each read and write. After any exception but
  // destinationExists a part of the new file may exist, which the caller has to remove.
  virtual void exportMovie(const Movie& movie, const MovieExportRequest& request,
                           const CancellationToken& token) const = 0;

 protected:
  MovieExporter() = default;
  MovieExporter(const MovieExporter&) = default;
  MovieExporter& operator=(const MovieExporter&) = default;
};

// The implementation of the platform.
std::shared_ptr<const MovieExporter> platformMovieExporter();

}  // namespace tolvander
