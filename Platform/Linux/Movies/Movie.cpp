#include "TolvanderCore/Platform/Movie.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "Platform/Linux/Movies/FrameSize.h"
#include "Platform/Linux/Movies/LibAV.h"
#include "Platform/Linux/Movies/MovieContents.h"
#include "Platform/Linux/Movies/MovieDemuxer.h"
#include "Platform/Linux/Movies/MovieSource.h"
#include "Platform/Linux/Movies/QuickTimeMetadata.h"
#include "Platform/Linux/Movies/SampleLayout.h"
#include "TolvanderCore/Foundation/InternetDateTime.h"
#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

namespace {

using namespace platform::linux_;

std::span<const std::byte> bytesOf(const AVPacket& packet) {
  return std::as_bytes(std::span(packet.data, static_cast<std::size_t>(packet.size)));
}

// Ticks in seconds. Multiplies and divides whole numbers, so that 240 frames per second are exactly 240.
double seconds(std::int64_t ticks, AVRational timeBase) {
  return static_cast<double>(ticks) * timeBase.num / timeBase.den;
}

std::optional<MovieSampleTime> sampleTime(const AVPacket& packet, const AVStream& stream) {
  const std::int64_t time = packet.pts == AV_NOPTS_VALUE ? packet.dts : packet.pts;
  if (time == AV_NOPTS_VALUE) {
    return std::nullopt;
  }
  return MovieSampleTime{.start = seconds(time, stream.time_base),
                         .duration = seconds(packet.duration, stream.time_base)};
}

// Collects the properties of one stream from its packets.
class TrackSurvey {
 public:
  explicit TrackSurvey(const AVStream& stream)
      : stream_(stream), parameters_(*stream.codecpar), layout_(sampleLayout(parameters_)) {}

  void add(const AVPacket& packet) {
    bytes_ += packet.size;
    packets_ += packet.size > 0 ? 1 : 0;
    addTime(packet);
    if (parameters_.codec_id == AV_CODEC_ID_MJPEG) {
      addFrameSize(packet);
    } else if (parameters_.codec_type == AVMEDIA_TYPE_VIDEO && packets_ == 1 && packet.size > 0) {
      frameSize_ = parsedFrameSize(parameters_, packet);
    }
  }

  // Whether there are samples.
  bool isTrack() const { return layout_ ? units() > 0 : packets_ > 0; }

  // Whether the end is truncated, or the parameters don't allow determining the samples.
  bool isDamaged() const {
    if (parameters_.codec_type == AVMEDIA_TYPE_AUDIO && parameters_.sample_rate <= 0) {
      return true;
    }
    if (!layout_) {
      return hasSampleLayout(parameters_.codec_id);
    }
    return !layout_->mayEndWithinUnit() && bytes_ % static_cast<std::int64_t>(layout_->unitBytes) != 0;
  }

  MovieTrack track() const {
    MovieTrack track;
    track.codecs = {mediaSubtype(parameters_)};
    track.start = start_ ? seconds(*start_, stream_.time_base) : 0;
    if (layout_) {
      track.duration = static_cast<double>(units() * layout_->samplesPerUnit) / parameters_.sample_rate;
    } else if (start_) {
      track.duration = seconds(av_sat_sub64(end_, *start_), stream_.time_base);
    }
    if (parameters_.codec_type == AVMEDIA_TYPE_VIDEO) {
      track.naturalWidth = frameSize_ ? frameSize_->width : parameters_.width;
      track.naturalHeight = frameSize_ ? frameSize_->height : parameters_.height;
      track.nominalFrameRate = frameRate();
    }
    return track;
  }

  Movie::Contents::Track source() const {
    return {.type = parameters_.codec_type == AVMEDIA_TYPE_VIDEO ? MediaType::video : MediaType::audio,
            .stream = stream_.index,
            .codec = parameters_.codec_id,
            .layout = layout_};
  }

 private:
  std::int64_t units() const { return bytes_ / static_cast<std::int64_t>(layout_->unitBytes); }

  void addTime(const AVPacket& packet) {
    if (packet.dts == AV_NOPTS_VALUE) {
      return;
    }
    const std::int64_t time = packet.pts == AV_NOPTS_VALUE ? packet.dts : packet.pts;
    // If frames are stored in another order than shown, the container has no durations: the distance to the
    // previous frame is used.
    const std::int64_t step = previous_ ? av_sat_sub64(packet.dts, *previous_) : 0;
    const std::int64_t end = av_sat_add64(time, packet.duration > 0 ? packet.duration : step);
    previous_ = packet.dts;
    start_ = std::min(start_.value_or(time), time);
    end_ = std::max(end_, end);
  }

  // Uses the size in the frames, or that in the header if they have none. An interlaced frame consists of
  // two pictures of half the height.
  void addFrameSize(const AVPacket& packet) {
    auto size = jpegFrameSize(bytesOf(packet));
    if (!size) {
      return;
    }
    if (std::abs(std::int64_t{2} * size->height - parameters_.height) <= 1) {
      size->height = parameters_.height;
    }
    const FrameSize before = frameSize_.value_or(FrameSize());
    frameSize_ = {.width = std::max(before.width, size->width),
                  .height = std::max(before.height, size->height)};
  }

  double frameRate() const {
    const std::int64_t ticks = start_ ? av_sat_sub64(end_, *start_) : 0;
    return static_cast<double>(packets_) * stream_.time_base.den /
           (static_cast<double>(ticks) * stream_.time_base.num);
  }

  const AVStream& stream_;
  const AVCodecParameters& parameters_;
  std::optional<SampleLayout> layout_;
  std::int64_t bytes_ = 0;
  std::int64_t packets_ = 0;  // those with data
  std::optional<std::int64_t> start_;
  std::int64_t end_ = 0;
  std::optional<std::int64_t> previous_;
  std::optional<FrameSize> frameSize_;
};

bool canBeTrack(const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  return (type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO) &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

std::optional<std::string> metadataValue(const MovieDemuxer& demuxer, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(demuxer.metadata(), key, nullptr, 0);
  return entry != nullptr ? std::optional<std::string>(entry->value) : std::nullopt;
}

// The date in the QuickTime metadata that cameras and phones write, otherwise that of the movie header. AVI
// has no usable metadata: a date in it is local time without a zone.
std::optional<MovieCreationDate> creationDate(const MovieDemuxer& demuxer) {
  if (const auto text = metadataValue(demuxer, creationDateKey)) {
    return MovieCreationDate{.date = std::nullopt, .text = text};
  }
  if (const auto headerDate = metadataValue(demuxer, "creation_time")) {
    return MovieCreationDate{.date = dateFromInternetDateTimeWithFractionalSeconds(*headerDate),
                             .text = std::nullopt};
  }
  return std::nullopt;
}

// The frame rates that the file states for its video tracks. Empty unless it states one for each.
std::vector<AVRational> frameRates(const MovieDemuxer& demuxer, bool isAVI,
                                   const std::vector<Movie::Contents::Track>& tracks) {
  std::vector<AVRational> rates;
  if (!isAVI) {
    rates = frameRatesFromText(metadataValue(demuxer, frameRatesKey).value_or(""));
  }
  std::size_t videoTracks = 0;
  for (const Movie::Contents::Track& track : tracks) {
    if (track.type != MediaType::video) {
      continue;
    }
    ++videoTracks;
    if (isAVI) {
      rates.push_back(av_inv_q(demuxer.stream(track.stream).time_base));
    }
  }
  return rates.size() == videoTracks ? rates : std::vector<AVRational>();
}

std::unique_ptr<Movie::Contents> survey(const FileURL& url, const CancellationToken& token) {
  auto contents = std::make_unique<Movie::Contents>(Movie::Contents{MovieSource::open(url, token)});
  const auto opened = contents->source.demuxer(EditLists::ignored, token);
  MovieDemuxer& demuxer = *opened;
  std::vector<std::optional<TrackSurvey>> surveys(static_cast<std::size_t>(demuxer.streamCount()));
  for (int index = 0; index < demuxer.streamCount(); ++index) {
    if (canBeTrack(demuxer.stream(index))) {
      surveys[static_cast<std::size_t>(index)].emplace(demuxer.stream(index));
    } else {
      demuxer.skip(index);
    }
  }

  const PacketPointer packet = makePacket();
  while (demuxer.read(*packet)) {
    const auto index = static_cast<std::size_t>(packet->stream_index);
    if (index < surveys.size() && surveys[index]) {
      surveys[index]->add(*packet);
    }
  }
  for (const auto& one : surveys) {
    if (!one || !one->isTrack()) {
      continue;
    }
    if (one->isDamaged()) {
      throw MovieError(MovieError::Case::unreadable, url, "a track is damaged");
    }
    contents->tracks.push_back(one->source());
    MovieTrack track = one->track();
    contents->duration = std::max(contents->duration, track.start + track.duration);
    (contents->tracks.back().type == MediaType::video ? contents->video : contents->audio)
        .push_back(std::move(track));
  }
  contents->frameRates = frameRates(demuxer, contents->source.avi.has_value(), contents->tracks);
  for (std::size_t index = 0; index < contents->frameRates.size(); ++index) {
    contents->video[index].nominalFrameRate = av_q2d(contents->frameRates[index]);
  }
  contents->creationDate = creationDate(demuxer);
  return contents;
}

const Movie::Contents::Track& trackOf(const Movie::Contents& contents, MediaType type, std::size_t index) {
  for (const Movie::Contents::Track& track : contents.tracks) {
    if (track.type == type && index-- == 0) {
      return track;
    }
  }
  precondition(false, "a movie has no such track");
  abort();
}

}  // namespace

Movie::Movie(const FileURL& url, const CancellationToken& token) : contents_(survey(url, token)) {}
Movie::~Movie() = default;
Movie::Movie(Movie&&) noexcept = default;
Movie& Movie::operator=(Movie&&) noexcept = default;

const FileURL& Movie::url() const { return contents_->source.file.url(); }

const std::vector<MovieTrack>& Movie::tracks(MediaType type) const {
  return type == MediaType::video ? contents_->video : contents_->audio;
}

double Movie::duration() const { return contents_->duration; }

const std::optional<MovieCreationDate>& Movie::creationDate() const { return contents_->creationDate; }

void Movie::readSamples(MediaType type, std::size_t index, const SampleReceiver& receive,
                        const CancellationToken& token) const {
  const Contents::Track& track = trackOf(*contents_, type, index);
  const auto opened = contents_->source.demuxer(EditLists::ignored, token);
  MovieDemuxer& demuxer = *opened;
  for (int stream = 0; stream < demuxer.streamCount(); ++stream) {
    if (stream != track.stream) {
      demuxer.skip(stream);
    }
  }

  SampleUnits units(track.layout ? track.layout->unitBytes : 1);
  const auto receiveUnits = [&](std::span<const std::byte> bytes) {
    const auto count = static_cast<std::int64_t>(bytes.size() / track.layout->unitBytes);
    receive({.sampleCount = count * track.layout->samplesPerUnit, .bytes = bytes});
  };
  const PacketPointer packet = makePacket();
  while (demuxer.read(*packet)) {
    if (packet->stream_index != track.stream || packet->size == 0) {
      continue;
    }
    if (track.layout) {
      units.add(bytesOf(*packet), receiveUnits);
    } else {
      receive({.sampleCount = 1,
               .bytes = bytesOf(*packet),
               .time = track.type == MediaType::video ? sampleTime(*packet, demuxer.stream(track.stream))
                                                      : std::nullopt});
    }
  }
  if (track.layout && units.endsWithinUnit() && !track.layout->mayEndWithinUnit()) {
    throw MovieError(MovieError::Case::unreadable, url(), "a block of sound is cut off");
  }
}

}  // namespace tolvander
