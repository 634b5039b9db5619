#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <new>
#include <string>
#include <vector>

#include "Platform/Linux/Movies/LibAV.h"
#include "Platform/Linux/Movies/MovieContents.h"
#include "Platform/Linux/Movies/MovieDemuxer.h"
#include "Platform/Linux/Movies/MovieFile.h"
#include "Platform/Linux/Movies/QuickTimeMetadata.h"
#include "Platform/Linux/Movies/SampleLayout.h"
#include "TolvanderCore/Foundation/InternetDateTime.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander {

namespace {

using namespace platform::linux_;
using Track = Movie::Contents::Track;

const AVOutputFormat* quickTimeFormat() { return av_guess_format("mov", nullptr, nullptr); }

// Codecs whose samples are the same bytes in AVI and QuickTime, and independent of each other. H.264, for
// example, would need other framing.
bool passesFromAVI(const Track& track) {
  constexpr std::array<AVCodecID, 7> codecs = {
      AV_CODEC_ID_MJPEG,    AV_CODEC_ID_PCM_U8,        AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_MULAW,
      AV_CODEC_ID_PCM_ALAW, AV_CODEC_ID_ADPCM_IMA_WAV, AV_CODEC_ID_ADPCM_MS};
  return std::ranges::find(codecs, track.codec) != codecs.end();
}

// The movie being written. All operations throw MovieError::exportFailed and CancellationError.
class QuickTimeWriter {
 public:
  QuickTimeWriter(const MovieFile& file, const MovieExportRequest& request, const CancellationToken& token)
      : file_(file), token_(token), io_(file, token, request.fileLengthLimit) {
    AVFormatContext* context = nullptr;
    const int result = avformat_alloc_output_context2(&context, quickTimeFormat(), nullptr, nullptr);
    context_.reset(context);  // before the check, which may throw
    check(result);
    context_->pb = io_.context();
    context_->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_BITEXACT;
    context_->interrupt_callback = {&isInterrupted, this};
    if (request.creationDate) {
      setHeaderDate(*request.creationDate);
    }
  }

  AVStream& addStream(const AVStream& source) {
    AVStream* stream = avformat_new_stream(context_.get(), nullptr);
    if (stream == nullptr) {
      throw std::bad_alloc();
    }
    check(copyStreamParameters(source, *stream));
    stream->time_base = source.time_base;
    stream->sample_aspect_ratio = source.sample_aspect_ratio;
    return *stream;
  }

  void begin() { check(avformat_write_header(context_.get(), nullptr)); }

  // Writes a packet with times in `timeBase`. Uses only its bytes and times.
  void write(AVPacket& packet, const AVStream& stream, AVRational timeBase) {
    packet.stream_index = stream.index;
    packet.pos = -1;
    av_packet_rescale_ts(&packet, timeBase, stream.time_base);
    check(av_write_frame(context_.get(), &packet));
  }

  void end() {
    check(av_write_trailer(context_.get()));
    avio_flush(io_.context());
    check(0);
  }

 private:
  static int isInterrupted(void* self) {
    return static_cast<const QuickTimeWriter*>(self)->token_.isCancelled() ? 1 : 0;
  }

  // Throws for a libav error, and for an error of the file that libav didn't report.
  void check(int result) const {
    token_.throwIfCancelled();
    const int error = result < 0 ? result : io_.context()->error;
    if (error < 0) {
      throw MovieError(MovieError::Case::exportFailed, file_.url(), libAVErrorText(error));
    }
  }

  // Sets the date of the movie header if libavformat can write and read it: from 1970 until the 32-bit
  // seconds since 1904 overflow (QuickTime File Format, "Movie Header Atoms").
  void setHeaderDate(const std::string& text) {
    using namespace std::chrono;
    constexpr sys_days first = year(1970) / 1 / 1;
    constexpr sys_days end = year(2040) / 2 / 6;
    const auto date = dateFromInternetDateTime(text);
    if (date && *date >= first && *date < end) {
      av_dict_set(&context_->metadata, "creation_time", text.c_str(), 0);
    }
  }

  const MovieFile& file_;
  const CancellationToken& token_;
  MovieFileIO io_;
  FormatOutputPointer context_;
};

// Writes the packets of one track with their new times.
class TrackWriter {
 public:
  virtual ~TrackWriter() = default;
  virtual void add(AVPacket& packet) = 0;
  virtual void end() = 0;

 protected:
  TrackWriter(QuickTimeWriter& movie, const AVStream& source, AVStream& target)
      : movie_(movie), source_(source), target_(target) {}
  TrackWriter(const TrackWriter&) = delete;
  TrackWriter& operator=(const TrackWriter&) = delete;

  QuickTimeWriter& movie_;
  const AVStream& source_;
  AVStream& target_;
};

// Video, and audio that comes in packets. Keeps one packet back, because its duration is known only when the
// next one or the end comes.
class PacketTrackWriter final : public TrackWriter {
 public:
  PacketTrackWriter(QuickTimeWriter& movie, const AVStream& source, AVStream& target, bool isFromAVI,
                    const MovieTrack& track)
      : TrackWriter(movie, source, target), held_(makePacket()) {
    if (isFromAVI) {
      target.codecpar->codec_tag = 0;  // QuickTime has other codes
    }
    if (source.codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
      target.codecpar->width = static_cast<int>(track.naturalWidth);
      target.codecpar->height = static_cast<int>(track.naturalHeight);
    }
  }

  void add(AVPacket& packet) override {
    end_ = std::max(end_, av_sat_add64(packet.dts, packet.duration));
    if (packet.size == 0) {
      return;  // empty: extends the previous frame
    }
    if (held_->size > 0) {
      step_ = av_sat_sub64(packet.dts, held_->dts);
      writeHeld(step_);
    }
    av_packet_move_ref(held_.get(), &packet);
  }

  void end() override {
    if (held_->size > 0) {
      writeHeld(end_ > held_->dts ? av_sat_sub64(end_, held_->dts) : step_);
    }
  }

 private:
  void writeHeld(std::int64_t duration) {
    held_->duration = duration;
    movie_.write(*held_, target_, source_.time_base);
    av_packet_unref(held_.get());
  }

  PacketPointer held_;
  std::int64_t end_ = 0;
  std::int64_t step_ = 0;  // between the last two packets
};

// Audio whose samples can be counted; times follow from the count.
class CountedTrackWriter final : public TrackWriter {
 public:
  CountedTrackWriter(QuickTimeWriter& movie, const AVStream& source, AVStream& target,
                     const SampleLayout& layout)
      : TrackWriter(movie, source, target),
        layout_(layout),
        units_(layout.unitBytes),
        timeBase_{1, source.codecpar->sample_rate},
        packet_(makePacket()) {
    target.codecpar->codec_tag = 0;
    target.time_base = timeBase_;
    if (layout.samplesPerUnit > 1) {
      target.codecpar->frame_size = static_cast<int>(layout.samplesPerUnit);
    }
  }

  void add(AVPacket& packet) override {
    if (!started_) {
      started_ = true;
      time_ = packet.pts == AV_NOPTS_VALUE ? 0 : av_rescale_q(packet.pts, source_.time_base, timeBase_);
    }
    units_.add(std::as_bytes(std::span(packet.data, static_cast<std::size_t>(packet.size))),
               [this](std::span<const std::byte> bytes) { writeUnits(bytes); });
  }

  void end() override {}

 private:
  // libavformat's QuickTime muxer counts one ADPCM block per packet; further ones would be lost silently.
  void writeUnits(std::span<const std::byte> bytes) {
    const std::size_t packetBytes = layout_.samplesPerUnit > 1 ? layout_.unitBytes : bytes.size();
    for (; !bytes.empty(); bytes = bytes.subspan(packetBytes)) {
      writePacket(bytes.first(packetBytes));
    }
  }

  void writePacket(std::span<const std::byte> bytes) {
    const auto units = static_cast<std::int64_t>(bytes.size() / layout_.unitBytes);
    av_packet_unref(packet_.get());
    // The muxer doesn't change it: it copies packets without a reference-counted buffer.
    packet_->data = const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(bytes.data()));
    packet_->size = static_cast<int>(bytes.size());
    packet_->flags = AV_PKT_FLAG_KEY;
    packet_->pts = time_;
    packet_->dts = time_;
    packet_->duration = units * layout_.samplesPerUnit;
    time_ += packet_->duration;
    movie_.write(*packet_, target_, timeBase_);
  }

  SampleLayout layout_;
  SampleUnits units_;
  AVRational timeBase_;
  PacketPointer packet_;
  bool started_ = false;
  std::int64_t time_ = 0;
};

// Whether the codec parameters change within a track, which a single sample description can't represent.
bool changesParameters(const AVPacket& packet) {
  return av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, nullptr) != nullptr ||
         av_packet_get_side_data(&packet, AV_PKT_DATA_PARAM_CHANGE, nullptr) != nullptr;
}

class PassthroughExport {
 public:
  PassthroughExport(const Movie& movie, const MovieFile& file, const MovieExportRequest& request,
                    const CancellationToken& token)
      : movie_(movie),
        demuxer_(movie.contents().source.demuxer(EditLists::applied, token)),
        writer_(file, request, token),
        tracks_(static_cast<std::size_t>(demuxer_->streamCount())) {
    for (int stream = 0; stream < demuxer_->streamCount(); ++stream) {
      demuxer_->skip(stream);
    }
    addTracks();
  }

  void run() {
    writer_.begin();
    const PacketPointer packet = makePacket();
    while (demuxer_->read(*packet)) {
      TrackWriter* track = trackOf(*packet);
      if (track == nullptr) {
        continue;
      }
      if (changesParameters(*packet)) {
        throw MovieError(MovieError::Case::exportFailed, movie_.url(), "a track changes its format");
      }
      track->add(*packet);
    }
    for (const auto& track : tracks_) {
      if (track) {
        track->end();
      }
    }
    writer_.end();
  }

 private:
  void addTracks() {
    std::size_t video = 0;
    std::size_t audio = 0;
    for (const Track& track : movie_.contents().tracks) {
      if (track.stream >= demuxer_->streamCount()) {
        throw MovieError(MovieError::Case::exportFailed, movie_.url(), "the file has changed");
      }
      demuxer_->keep(track.stream);
      const AVStream& source = demuxer_->stream(track.stream);
      AVStream& target = writer_.addStream(source);
      const MovieTrack& facts = track.type == MediaType::video ? movie_.contents().video[video++]
                                                               : movie_.contents().audio[audio++];
      auto& writer = tracks_[static_cast<std::size_t>(track.stream)];
      if (track.layout) {
        writer = std::make_unique<CountedTrackWriter>(writer_, source, target, *track.layout);
      } else {
        writer = std::make_unique<PacketTrackWriter>(writer_, source, target,
                                                     movie_.contents().source.avi.has_value(), facts);
      }
    }
  }

  TrackWriter* trackOf(const AVPacket& packet) const {
    const auto index = static_cast<std::size_t>(packet.stream_index);
    return index < tracks_.size() ? tracks_[index].get() : nullptr;
  }

  const Movie& movie_;
  std::unique_ptr<MovieDemuxer> demuxer_;
  QuickTimeWriter writer_;
  std::vector<std::unique_ptr<TrackWriter>> tracks_;
};

MovieFile createDestination(const FileURL& url) {
  try {
    return MovieFile::create(url);
  } catch (const PosixError& error) {
    using Case = MovieError::Case;
    throw MovieError(error.code() == EEXIST ? Case::destinationExists : Case::exportFailed, url,
                     error.what());
  }
}

// Metadata that the movie header can't hold: dates outside of its range, and the frame rate when frames
// repeat.
std::vector<MetadataItem> metadataOf(const Movie& movie, const MovieExportRequest& request) {
  std::vector<MetadataItem> items;
  if (request.creationDate) {
    items.push_back({.key = creationDateKey, .text = *request.creationDate});
  }
  if (!movie.contents().frameRates.empty()) {
    items.push_back({.key = frameRatesKey, .text = textOfFrameRates(movie.contents().frameRates)});
  }
  return items;
}

class PassthroughExporter final : public MovieExporter {
 public:
  bool canExport(const Movie& movie) const override {
    const AVOutputFormat* format = quickTimeFormat();
    return format != nullptr && std::ranges::all_of(movie.contents().tracks, [&](const Track& track) {
             return movie.contents().source.avi
                        ? passesFromAVI(track)
                        : avformat_query_codec(format, track.codec, FF_COMPLIANCE_NORMAL) == 1;
           });
  }

  void exportMovie(const Movie& movie, const MovieExportRequest& request,
                   const CancellationToken& token) const override {
    token.throwIfCancelled();
    silenceLibAV();
    MovieFile file = createDestination(request.destination);
    try {
      PassthroughExport(movie, file, request, token).run();
      appendMetadata(file, metadataOf(movie, request), request.fileLengthLimit, token);
      file.close();
    } catch (const Error& error) {
      token.throwIfCancelled();
      throw MovieError(MovieError::Case::exportFailed, request.destination, error.what());
    }
  }
};

}  // namespace

std::shared_ptr<const MovieExporter> platformMovieExporter() {
  return std::make_shared<const PassthroughExporter>();
}

}  // namespace tolvander
