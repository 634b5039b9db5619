#include "TolvanderCore/Video/AVIReading.h"

#include <utility>

#include "TolvanderCore/Video/AVIBytes.h"
#include "TolvanderCore/Video/AVIDecision.h"
#include "TolvanderCore/Video/AVIHeaders.h"
#include "TolvanderCore/Video/AVIIndex.h"
#include "TolvanderCore/Video/AVIWalk.h"

namespace tolvander {

namespace {

AVISoundTrack soundTrack(const AVISoundFormat& format, std::vector<AVIChunk> chunks) {
  AVISoundTrack track{.format = format, .chunks = std::move(chunks)};
  for (const AVIChunk& chunk : track.chunks) {
    track.byteCount += chunk.size;
  }
  return track;
}

AVIReading readingOf(const AVIHeaders& headers, std::vector<AVIAccount> accounts, const FileURL& url) {
  AVIReading reading;
  for (std::size_t stream = 0; stream < accounts.size(); ++stream) {
    const AVIStream& header = headers.streams[stream];
    AVIAccount& account = accounts[stream];
    if (header.kind == AVIStream::Kind::video && !account.chunks.empty()) {
      for (const AVIChunk& frame : account.chunks) {
        if (frame.size > AVIReading::maximumFrameSize) {
          refuseAVI(url, "a frame is too large");
        }
      }
      reading.video.push_back(header.video);
      reading.video.back().frames = std::move(account.chunks);
      reading.video.back().slots = account.slots;
    } else if (header.kind == AVIStream::Kind::sound) {
      AVISoundTrack track = soundTrack(header.sound, std::move(account.chunks));
      // The rest of a PCM sample is no sound, but a block that is cut off is lost sound.
      if (header.sound.samplesPerUnit > 1 && track.byteCount % header.sound.unitBytes != 0) {
        refuseAVI(url, "a block of sound is cut off");
      }
      if (track.byteCount >= header.sound.unitBytes) {
        reading.sound.push_back(std::move(track));
      }
    }
  }
  if (reading.video.empty()) {
    refuseAVI(url, "it has no video");
  }
  return reading;
}

}  // namespace

bool AVIReading::isAVI(const FileReader& file) {
  AVIBytes bytes(file, {});
  const std::string_view start = bytes.at(0, 12);
  return start.size() == 12 && start.starts_with("RIFF") && start.ends_with("AVI ");
}

AVIReading AVIReading::of(const FileReader& file, const CancellationToken& token) {
  const FileURL& url = file.url();
  AVIBytes bytes(file, token);
  if (!isAVI(file)) {
    refuseAVI(url, "it is no AVI");
  }
  const AVIHeaders headers = readAVIHeaders(bytes, url);
  AVIWalk walk = walkAVI(bytes, headers, url, token);
  AVIBytes indexBytes(file, token);
  auto index = readAVIIndex(bytes, indexBytes, headers, walk.oldIndex, url, token);
  return readingOf(headers, decideAVI(bytes, headers, walk, index, url, token), url);
}

}  // namespace tolvander
