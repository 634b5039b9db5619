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

// One track, as its samples are. What the headers of a file claim beyond that (counts, durations, picture
// sizes) is not believed. A stream without samples is no track, and neither is a still picture that stands
// for the file.
struct MovieTrack {
  // Video only: pixels, before any rotation that the container asks for. As the encoding itself names them;
  // in Motion JPEG, where each frame does, the greatest of all frames. The container's claim only where the
  // encoding says nothing.
  double naturalWidth = 0;
  double naturalHeight = 0;

  // Video only: frames a second. Of an AVI the rate of the stream's header, at which repeated frames count
  // too. The exporter writes it into the QuickTime movie's metadata and it is read from there again. Of other
  // QuickTime movies, samples a second over the duration.
  double nominalFrameRate = 0;

  // The time range in seconds, from the earliest sample to the end of the latest. Edit lists are not applied.
  double start = 0;
  double duration = 0;

  // The media sub-types of the track's formats as four-character codes of QuickTime, the first character
  // highest. One encoding has one code, whatever container it is in.
  std::vector<std::uint32_t> codecs;

  friend bool operator==(const MovieTrack&, const MovieTrack&) = default;
};

// When the movie says that it was made: as an instant, or as a text where it has only that.
struct MovieCreationDate {
  std::optional<Date> date;
  std::optional<std::string> text;

  friend bool operator==(const MovieCreationDate&, const MovieCreationDate&) = default;
};

// When a video frame is shown: seconds from the start of the movie, without edit lists, and seconds until the
// next frame of the track or the track's end. The duration is 0 where the container doesn't say it.
struct MovieSampleTime {
  double start = 0;
  double duration = 0;

  friend bool operator==(const MovieSampleTime&, const MovieSampleTime&) = default;
};

// Samples of one track as they are stored, decoded by nobody. A sample is one video frame, or the sound of
// one instant (all channels of it), or one packet of an encoding that has no fixed number of either. How many
// samples there are doesn't depend on the container. A container's repetition of a frame without data is no
// sample; the frame before it lasts longer. Bytes at the end of a track of uncompressed sound that don't make
// up a sample are left out.
struct MovieSampleBuffer {
  std::int64_t sampleCount = 0;              // at least 1
  std::span<const std::byte> bytes;          // valid only during the call that hands them over
  std::optional<MovieSampleTime> time = {};  // of video, whose buffers hold one sample each; absent for sound
};

// A movie file, opened for reading: AVI, QuickTime or MPEG-4, told by its content and not by its name. It
// can't reach out to other files: references to them and playlists are refused. The file is held open by a
// descriptor. Immutable; safe on several threads at once.
//
// Two tracks of one kind are two tracks, in the order of the file. Tracks that are neither video nor audio
// (subtitles, timecode, data) are not looked at. Documentation/avi.md says which frames and sound an AVI
// holds where its structures contradict each other.
class Movie {
 public:
  // Reads through the whole file once, in memory of a few frames and at most 64 MiB for the places of an
  // AVI's chunks, and checks for cancellation at each read. Throws PosixError where the file can't be opened,
  // MovieError::unreadable where it is no such movie, breaks off, is an AVI whose structures give no one
  // reading, has sound that can't be told, or can't be read to its end, and CancellationError.
  explicit Movie(const FileURL& url, const CancellationToken& token = {});
  ~Movie();
  Movie(Movie&&) noexcept;
  Movie& operator=(Movie&&) noexcept;

  const FileURL& url() const;
  const std::vector<MovieTrack>& tracks(MediaType type) const;

  // Seconds from 0 to the end of the track that ends last.
  double duration() const;

  // The movie's first creation date among what its metadata holds, if any.
  const std::optional<MovieCreationDate>& creationDate() const;

  // Hands over every sample of one track, in the order of the file. `index` counts the tracks of this type
  // and must be one of them. What `receive` throws is passed on. Throws MovieError::unreadable, also where
  // the file has changed so that the track doesn't end as it should, and CancellationError.
  using SampleReceiver = std::function<void(const MovieSampleBuffer&)>;
  void readSamples(MediaType type, std::size_t index, const SampleReceiver& receive,
                   const CancellationToken& token = {}) const;

  // What the movie contract's answer keeps about the file.
  struct Contents;
  const Contents& contents() const { return *contents_; }

 private:
  std::unique_ptr<Contents> contents_;
};

struct MovieExportRequest {
  FileURL destination;
  std::optional<std::string> creationDate = {};  // text for the movie's metadata, ISO 8601
  std::int64_t fileLengthLimit = 0;              // bytes that the new file may have
};

// Writes a movie anew as a QuickTime movie, its samples passed through as they are. Stateless, safe to share.
class MovieExporter {
 public:
  virtual ~MovieExporter() = default;

  // Whether a QuickTime movie can hold every video and audio track of this one without encoding it anew.
  virtual bool canExport(const Movie& movie) const = 0;

  // Blocks until the new file is complete and closed. All video and audio tracks are carried over in their
  // order, with their rotation; tracks of other kinds are left out. The file must not exist before. Nothing
  // is promised about power loss.
  //
  // Throws MovieError: destinationExists where anything is at the destination, a broken link too, which stays
  // as it is; exportFailed where the movie can't be read, or the file can't be created, written, or kept
  // within its limit. Throws CancellationError, which it looks for at each read and write. After any throw
  // but destinationExists a part of the new file may be left, for the caller to remove.
  virtual void exportMovie(const Movie& movie, const MovieExportRequest& request,
                           const CancellationToken& token) const = 0;

 protected:
  MovieExporter() = default;
  MovieExporter(const MovieExporter&) = default;
  MovieExporter& operator=(const MovieExporter&) = default;
};

// The platform's own.
std::shared_ptr<const MovieExporter> platformMovieExporter();

}  // namespace tolvander
