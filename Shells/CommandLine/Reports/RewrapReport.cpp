#include "Shells/CommandLine/Reports/RewrapReport.h"

#include <cstdint>
#include <string_view>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/NativeCharmeraVideoProcessor.h"

namespace tolvander::app {

namespace {

std::string codecText(const PayloadIdentity& track) {
  std::string text;
  for (const std::uint32_t codec : track.codec) {
    text += (text.empty() ? "" : ", ") + fourCharacterCodeText(codec);
  }
  return text;
}

std::string trackText(const PayloadIdentity& track) {
  return codecText(track) + ", " + counted(track.sampleCount, "sample", "samples") + ", " +
         counted(track.byteCount, "byte", "bytes") + ", SHA-256 " + FileFingerprinter::text(track.digest);
}

void write(JSONWriter& writer, std::string_view type, const PayloadIdentity& track) {
  writer.beginObject();
  writer.string("type", type);
  writer.key("codecs");
  writer.beginArray();
  for (const std::uint32_t codec : track.codec) {
    writer.string(fourCharacterCodeText(codec));
  }
  writer.endArray();
  writer.integer("sampleCount", track.sampleCount);
  writer.integer("byteCount", track.byteCount);
  writer.string("sha256", FileFingerprinter::text(track.digest));
  writer.endObject();
}

}  // namespace

RewrapReport RewrapReport::of(const FileURL& sourceURL, const FileURL& movieURL,
                              const CancellationToken& token) {
  return {.sourceURL = sourceURL,
          .movieURL = movieURL,
          .proven = NativeCharmeraVideoProcessor().rewrap(sourceURL.resolvingSymlinks(), movieURL,
                                                          TimeZone::current(), token)};
}

std::string RewrapReport::text() const {
  const VideoMediaMetadata& metadata = proven.metadata;
  std::string text = "“" + printable(movieURL.lastPathComponent()) + "” holds every sample of “" +
                     printable(sourceURL.lastPathComponent()) + "”.\n";
  text += factLine("Picture size", pixelSizeText(metadata.pixelWidth, metadata.pixelHeight));
  text += factLine("Duration", decimalText(metadata.duration) + " s");
  text += factLine("Frame rate", decimalText(metadata.frameRate) + " frames a second");
  if (metadata.captureDate) {
    text += factLine("Date", iso8601Text(*metadata.captureDate));
  }
  for (const PayloadIdentity& track : proven.videoTracks) {
    text += factLine("Video", trackText(track));
  }
  for (const PayloadIdentity& track : proven.audioTracks) {
    text += factLine("Sound", trackText(track));
  }
  return text;
}

std::string RewrapReport::json() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    const VideoMediaMetadata& metadata = proven.metadata;
    writer.beginObject();
    writer.string("source", sourceURL.path());
    writer.string("movie", movieURL.path());
    writer.integer("pixelWidth", metadata.pixelWidth);
    writer.integer("pixelHeight", metadata.pixelHeight);
    writer.number("duration", metadata.duration);
    writer.number("frameRate", metadata.frameRate);
    if (metadata.captureDate) {
      writer.string("captureDate", iso8601Text(*metadata.captureDate));
    }
    writer.key("tracks");
    writer.beginArray();
    for (const PayloadIdentity& track : proven.videoTracks) {
      write(writer, "video", track);
    }
    for (const PayloadIdentity& track : proven.audioTracks) {
      write(writer, "audio", track);
    }
    writer.endArray();
    writer.endObject();
  });
}

}  // namespace tolvander::app
