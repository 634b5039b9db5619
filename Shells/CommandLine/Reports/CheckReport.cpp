#include "Shells/CommandLine/Reports/CheckReport.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "Shells/CommandLine/Reports/SetAsideReport.h"
#include "Shells/CommandLine/Reports/SyncReport.h"
#include "TolvanderApp/Presentation/ReviewWording.h"
#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander::app {

namespace {

constexpr std::array<std::string_view, 6> titles = {"In library", "Likely duplicates", "Missing",
                                                    "New",        "Need review",       "Interrupted"};

CheckReport::Paths pathsOf(const std::vector<FingerprintedMediaFile>& files) {
  CheckReport::Paths paths;
  std::ranges::transform(files, std::back_inserter(paths),
                         [](const FingerprintedMediaFile& file) { return file.file.relativePath; });
  return paths;
}

CheckReport::Paths finishedByNextSync(const DeviceLibraryReview& entry) {
  std::vector<FingerprintedMediaFile> files = entry.review.uncertain;
  std::erase_if(files, [&](const FingerprintedMediaFile& file) {
    return !entry.finishedByNextSync.contains(file.sourceFingerprint);
  });
  return pathsOf(files);
}

CheckReport::Camera cameraOf(const DeviceLibraryReview& entry) {
  const CameraLibraryReview& review = entry.review;
  return {.volumeURL = entry.device.volumeURL,
          .name = entry.device.displayName,
          .counts = ReviewCounts::of(entry),
          .missing = pathsOf(review.missingRecorded),
          .newFiles = pathsOf(review.newFiles),
          .needReview = pathsOf(review.unchecked),
          .interrupted = pathsOf(review.uncertain),
          .finishedByNextSync = finishedByNextSync(entry),
          .setAside = entry.setAside};
}

std::array<std::int64_t, titles.size()> numbersOf(const ReviewCounts& counts) {
  return {counts.inLibrary, counts.likelyDuplicates, counts.missing,
          counts.newFiles,  counts.unchecked,        counts.interrupted};
}

std::string rightAligned(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string headerLine() {
  std::string line;
  for (const std::string_view title : titles) {
    line += std::string(title) + "  ";
  }
  return line + "Camera\n";
}

std::string line(const CheckReport::Camera& camera) {
  std::string line;
  const auto numbers = numbersOf(camera.counts);
  for (std::size_t column = 0; column < titles.size(); ++column) {
    line += rightAligned(std::to_string(numbers.at(column)), titles.at(column).size()) + "  ";
  }
  return line + "“" + printable(camera.name) + "”\n";
}

std::string needReviewText(const CheckReport::Camera& camera) {
  const std::int64_t count = camera.counts.unchecked;
  const std::string words = camera.counts.reachedLimits
                                ? needsCheckingText(count)
                                : counted(count, "file couldn’t be compared with local originals",
                                          "files couldn’t be compared with local originals");
  return "“" + printable(camera.name) + "”: " + words +
         ". Only originals available on this computer can be compared, and unchecked files are not imported.";
}

std::string finishedText(const CheckReport::Camera& camera) {
  const std::int64_t count = camera.counts.finishedByNextSync;
  return "“" + printable(camera.name) + "”: " + cutShortText(count) + ". " + cutShortAdvice(count);
}

std::string pausedText(const CheckReport::Camera& camera) {
  return "“" + printable(camera.name) + "”: " + recoveryText(camera.counts.paused()) + ". " +
         recoveryAdvice();
}

void writePaths(JSONWriter& writer, std::string_view key, const CheckReport::Paths& paths) {
  writer.key(key);
  writer.beginArray();
  for (const std::string& path : paths) {
    writer.string(path);
  }
  writer.endArray();
}

void write(JSONWriter& writer, const CheckReport::Camera& camera) {
  writer.beginObject();
  writer.string("volume", camera.volumeURL.path());
  writer.string("name", camera.name);
  writer.integer("inLibrary", camera.counts.inLibrary);
  writer.integer("likelyDuplicates", camera.counts.likelyDuplicates);
  writer.integer("recognized", camera.counts.recognized);
  writer.integer("missing", camera.counts.missing);
  writer.integer("new", camera.counts.newFiles);
  writer.integer("needReview", camera.counts.unchecked);
  writer.integer("interrupted", camera.counts.interrupted);
  writer.key("files");
  writer.beginObject();
  writePaths(writer, "missing", camera.missing);
  writePaths(writer, "new", camera.newFiles);
  writePaths(writer, "needReview", camera.needReview);
  writePaths(writer, "interrupted", camera.interrupted);
  writePaths(writer, "finishedByNextSync", camera.finishedByNextSync);
  writePaths(writer, "setAside", camera.setAside);
  writer.endObject();
  writer.endObject();
}

}  // namespace

CheckReport::Paths CheckReport::Camera::paused() const {
  Paths paths = interrupted;
  std::erase_if(paths, [&](const std::string& path) {
    return std::ranges::find(finishedByNextSync, path) != finishedByNextSync.end();
  });
  return paths;
}

CheckReport CheckReport::of(const std::vector<DeviceLibraryReview>& reviews) {
  CheckReport report;
  std::ranges::transform(reviews, std::back_inserter(report.cameras), cameraOf);
  return report;
}

std::string CheckReport::text() const {
  if (cameras.empty()) {
    return "";
  }
  std::string text = headerLine();
  for (const Camera& camera : cameras) {
    text += line(camera);
  }
  for (const Camera& camera : cameras) {
    if (camera.counts.unchecked > 0) {
      text += needReviewText(camera) + "\n";
    }
    if (camera.counts.finishedByNextSync > 0) {
      text += finishedText(camera) + "\n";
    }
    if (const CheckReport::Paths paused = camera.paused(); !paused.empty()) {
      text += pausedText(camera) + "\n";
      for (const std::string& path : paused) {
        text += "  " + printable(path) + "\n";
      }
      text += "  " + setAsideAdvice() + "\n";
    }
    text += setAsideLine(camera.name, camera.setAside);
  }
  return text;
}

std::string CheckReport::json(const RunResult& result, std::int64_t imported) const {
  return jsonText(JSONWriter::Style::compact, [&](JSONWriter& writer) {
    writer.beginObject();
    writer.key("result");
    writer.beginObject();
    result.write(writer);
    writer.integer("imported", imported);
    writer.key("cameras");
    writer.beginArray();
    for (const Camera& camera : cameras) {
      write(writer, camera);
    }
    writer.endArray();
    writer.endObject();
    writer.endObject();
  });
}

std::string cannotImportText(const CheckReport::Camera& camera) {
  if (camera.counts.interrupted == 0) {
    return "Nothing was imported. " + needReviewText(camera);
  }
  return "Nothing was imported. " + (camera.counts.paused() == 0 ? finishedText(camera) : pausedText(camera));
}

std::string nothingImportedText() { return "Nothing was imported."; }

std::string nothingMissingText() { return "Nothing is missing in the photo library.\n"; }

}  // namespace tolvander::app
