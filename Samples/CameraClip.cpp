#include "Samples/CameraClip.h"

#include <span>
#include <utility>

#include "Samples/JPEGBuilder.h"
#include "Samples/JPEGCodec.h"
#include "Samples/SyntheticPhoto.h"

namespace tolvander::tests {

namespace {

constexpr int frameQuality = 60;

std::string_view packerText(AVIPacker packer) {
  return packer == AVIPacker::v20130103 ? "GP$322 Generalplus AviPackerV3 20130103"
                                        : "GP$322 Generalplus AviPackerV3 20140916";
}

// A picture with the text that these cameras' encoder leaves behind the start marker.
std::string cameraFrame(const AVIHeader& header, std::uint64_t seed) {
  const Bytes picture = encodeJPEG(syntheticPhoto(header.width, header.height, seed), frameQuality);
  const Bytes frame = JPEGBuilder().comment("GPEncoder").raw(std::span(picture).subspan(2)).build();
  return {reinterpret_cast<const char*>(frame.data()), frame.size()};
}

// 16-bit samples without any pattern.
std::string noise(std::size_t samples, std::uint64_t seed) {
  std::string sound;
  while (sound.size() < 2 * samples) {
    const std::uint64_t random = scrambled(seed++);
    sound += static_cast<char>(random & 0xFFU);
    sound += static_cast<char>(random >> 8U & 0x0FU);
  }
  return sound;
}

class Recording {
 public:
  Recording(const FileURL& url, const CameraClip& clip)
      : clip_(clip), header_(headerOf(clip)), writer_(url, header_) {}

  CameraClipContent write() {
    for (unsigned slot = 0; slot < clip_.slots; ++slot) {
      if (slot == 3) {
        writer_.raw(clip_.amidChunks);
      }
      if (clip_.missing.contains(slot)) {
        putMissing();
      } else {
        putFrame(slot);
      }
      if (clip_.soundAmidRepeats || !clip_.missing.contains(slot + 1)) {
        putSound(slot);
      }
      putData(slot);
    }
    writer_.raw(clip_.behindChunks);
    writer_.finish();
    return std::move(content_);
  }

 private:
  static AVIHeader headerOf(const CameraClip& clip) {
    AVIHeader header = clip.header;
    header.packer = packerText(clip.packer);
    if (clip.soundRate > 0) {
      header.audio = {AVIAudioFormat::pcm16(1, clip.soundRate)};
    }
    return header;
  }

  void putFrame(unsigned slot) {
    const std::string frame = cameraFrame(header_, scrambled(clip_.seed) + slot);
    if (clip_.packer == AVIPacker::v20130103) {
      writer_.video(frame);
    } else {
      writer_.videoClaiming(clip_.bufferSize, frame);
    }
    content_.frames.push_back(frame);
    content_.slotsOfFrames.push_back(1);
    content_.shown.push_back(frame);
  }

  void putMissing() {
    if (clip_.packer == AVIPacker::v20130103) {
      writer_.repeatByIndex();
    } else {
      writer_.dropByIndex();
    }
    ++content_.slotsOfFrames.back();
    content_.shown.push_back(content_.frames.back());
  }

  // As much sound as the slots so far last.
  void putSound(unsigned slot) {
    const std::size_t due = std::size_t{slot + 1} * clip_.soundRate * header_.scale / header_.rate;
    if (2 * due > content_.sound.size()) {
      const std::string sound =
          noise(due - content_.sound.size() / 2, scrambled(clip_.seed + slot) ^ 0x50554E44U);
      writer_.audio(sound);
      content_.sound += sound;
    }
  }

  void putData(unsigned slot) {
    for (unsigned stream = 0; stream < header_.dataStreams.size(); ++stream) {
      writer_.data(header_.dataStreams[stream] == "mids" ? "md" : "dt", "data " + std::to_string(slot),
                   stream);
    }
  }

  CameraClip clip_;
  AVIHeader header_;
  AVIWriter writer_;
  CameraClipContent content_;
};

AVISlip movieSizeOff(int bytes) {
  return {
      "movieSizeOffBy" + std::string(bytes < 0 ? "Minus" : "") + std::to_string(bytes < 0 ? -bytes : bytes),
      [bytes](CameraClip& clip) { clip.header.movieSizeError = bytes; }};
}

AVISlip amidChunks(const std::string& name, const std::string& bytes) {
  return {name, [bytes](CameraClip& clip) { clip.amidChunks = bytes; }};
}

AVISlip inHeader(const std::string& name, const std::function<void(AVIHeader&)>& change) {
  return {name, [change](CameraClip& clip) { change(clip.header); }};
}

AVISlip inSoundHeader(const std::string& name, const std::function<void(std::string&)>& change) {
  return inHeader(name, [change](AVIHeader& header) { header.changeAudioFormat = change; });
}

}  // namespace

CameraClipContent writeCameraClip(const FileURL& url, const CameraClip& clip) {
  return Recording(url, clip).write();
}

std::vector<AVISlip> harmlessAVISlips() {
  std::vector<AVISlip> slips;
  for (const int bytes : {-8, -4, -2, -1, 1, 2, 4, 8, 12, 16}) {
    slips.push_back(movieSizeOff(bytes));
  }
  for (const auto& [name, size] : {std::pair("movieSizeBeyondTheFile", 0x01000000U),
                                   {"movieSizeZero", 0U},
                                   {"movieSizeUnknown", 0xFFFFFFFFU}}) {
    AVISlip slip = inHeader(name, [claimed = size](AVIHeader& header) { header.claimedMovieSize = claimed; });
    slip.hidesTheIndex = true;
    slips.push_back(slip);
  }
  slips.push_back(inHeader("alignedTo4", [](AVIHeader& header) { header.alignment = 4; }));
  slips.push_back(inHeader("alignedTo512", [](AVIHeader& header) { header.alignment = 512; }));
  slips.push_back(
      {"zerosBehindChunks", [](CameraClip& clip) { clip.behindChunks = std::string(1000, '\0'); }});
  slips.push_back(
      amidChunks("informationAmidChunks", std::string("LIST\x12\0\0\0INFOISFT\x06\0\0\0camera", 26)));
  slips.push_back(amidChunks("unknownChunkAmidChunks", std::string("gps \x05\0\0\0where\0", 14)));
  slips.push_back(amidChunks("junkAmidChunks", std::string("JUNK\x04\0\0\0\xFF\xD8\xFF\xE0", 12)));
  slips.push_back(inHeader("oddChunksUnpadded", [](AVIHeader& header) { header.padsOddChunks = false; }));
  slips.push_back(inHeader("dataStream", [](AVIHeader& header) { header.dataStreams = {"dats"}; }));
  slips.push_back(inHeader("midiStream", [](AVIHeader& header) { header.dataStreams = {"mids"}; }));
  slips.push_back(
      inHeader("textBehindIndex", [](AVIHeader& header) { header.behindIndex = "made by a camera\n"; }));
  slips.push_back(inHeader("noCompressionInFormat",
                           [](AVIHeader& header) { header.claimedCompression = std::string(4, '\0'); }));
  slips.push_back(inHeader("indexFromBehindMovi",
                           [](AVIHeader& header) { header.indexBase = AVIIndexBase::behindMovieWord; }));
  slips.push_back(
      inHeader("indexFromFileStart", [](AVIHeader& header) { header.indexBase = AVIIndexBase::fileStart; }));
  slips.push_back(inHeader("riffSizeZero", [](AVIHeader& header) { header.claimedRIFFSize = 0; }));
  return slips;
}

std::vector<AVISlip> damagedSoundHeaders() {
  constexpr std::size_t formatTag = 0;
  constexpr std::size_t channels = 2;
  constexpr std::size_t sampleRate = 4;
  const auto overwriting = [](std::size_t offset, std::string_view bytes) {
    return [offset, bytes](std::string& format) { format.replace(offset, bytes.size(), bytes); };
  };
  return {inSoundHeader("unknownSoundEncoding", overwriting(formatTag, "\xEF\xBE")),
          inSoundHeader("noSoundEncoding", overwriting(formatTag, std::string_view("\0\0", 2))),
          inSoundHeader("noChannels", overwriting(channels, std::string_view("\0\0", 2))),
          inSoundHeader("noSampleRate", overwriting(sampleRate, std::string_view("\0\0\0\0", 4))),
          inSoundHeader("otherSampleRate", overwriting(sampleRate, std::string_view("\x11\x2B\0\0", 4))),
          inSoundHeader("cutSoundHeader", [](std::string& format) { format.resize(10); }),
          inSoundHeader("emptySoundHeader", [](std::string& format) { format.clear(); })};
}

}  // namespace tolvander::tests
