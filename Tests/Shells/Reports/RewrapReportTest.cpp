#include "Shells/CommandLine/Reports/RewrapReport.h"

#include <gtest/gtest.h>

#include "TolvanderCore/Foundation/ISO8601.h"

namespace tolvander::app {
namespace {

constexpr std::uint32_t jpeg = 0x6A706567;
constexpr std::uint32_t avc1 = 0x61766331;
constexpr std::uint32_t imaADPCM = 0x6D730011;

SHA256::Digest digestOf(unsigned char byte) {
  SHA256::Digest digest{};
  digest.fill(std::byte{byte});
  return digest;
}

RewrapReport sampleReport() {
  return {.sourceURL = FileURL("/card/MOVI\n0001.AVI"),
          .movieURL = FileURL("/tmp/MOVI0001.mov"),
          .proven = {.metadata = {.pixelWidth = 1440,
                                  .pixelHeight = 1080,
                                  .duration = 12.5,
                                  .frameRate = 30000.0 / 1001,
                                  .hasAudio = true,
                                  .captureDate = dateFromISO8601("2026-11-15T19:13:17Z")},
                     .videoTracks = {{.codec = {jpeg, avc1},
                                      .sampleCount = 375,
                                      .byteCount = 12'345'678,
                                      .digest = digestOf(0x01)}},
                     .audioTracks = {
                         {.codec = {imaADPCM}, .sampleCount = 1, .byteCount = 1, .digest = digestOf(0xEE)}}}};
}

std::string repeated(std::string_view digits) {
  std::string text;
  for (int index = 0; index < 32; ++index) {
    text += digits;
  }
  return text;
}

TEST(RewrapReport, tellsPeopleWhatWasProven) {
  EXPECT_EQ(sampleReport().text(),
            "“MOVI0001.mov” holds every sample of “MOVI�0001.AVI”.\n"
            "Picture size         1440 × 1080 pixels\n"
            "Duration             12.5 s\n"
            "Frame rate           29.97 frames a second\n"
            "Date                 2026-11-15T19:13:17Z\n"
            "Video                jpeg, avc1, 375 samples, 12,345,678 bytes, SHA-256 " +
                repeated("01") +
                "\n"
                "Sound                0x6d730011, 1 sample, 1 byte, SHA-256 " +
                repeated("ee") + "\n");
}

TEST(RewrapReport, tellsProgramsWhatWasProven) {
  EXPECT_EQ(sampleReport().json(), R"({
  "source" : "\/card\/MOVI\n0001.AVI",
  "movie" : "\/tmp\/MOVI0001.mov",
  "pixelWidth" : 1440,
  "pixelHeight" : 1080,
  "duration" : 12.5,
  "frameRate" : 29.97002997002997,
  "captureDate" : "2026-11-15T19:13:17Z",
  "tracks" : [
    {
      "type" : "video",
      "codecs" : [
        "jpeg",
        "avc1"
      ],
      "sampleCount" : 375,
      "byteCount" : 12345678,
      "sha256" : ")" + repeated("01") +
                                       R"("
    },
    {
      "type" : "audio",
      "codecs" : [
        "0x6d730011"
      ],
      "sampleCount" : 1,
      "byteCount" : 1,
      "sha256" : ")" + repeated("ee") +
                                       R"("
    }
  ]
})");
}

TEST(RewrapReport, leavesOutADateThatTheMovieDoesNotHave) {
  RewrapReport report = sampleReport();
  report.proven.metadata.captureDate.reset();
  EXPECT_EQ(report.text().find("Date"), std::string::npos);
  EXPECT_EQ(report.json().find("captureDate"), std::string::npos);
}

}  // namespace
}  // namespace tolvander::app
