#include "Shells/CommandLine/Reports/StatusReport.h"

#include <algorithm>

#include "Shells/CommandLine/Reports/SetAsideReport.h"
#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/MediaCounts.h"

namespace tolvander::app {

namespace {

std::string_view libraryWord(PhotosPermissionStatus status) {
  switch (status) {
    case PhotosPermissionStatus::authorized:
      return "ready";
    case PhotosPermissionStatus::notDetermined:
      return "not made yet";
    case PhotosPermissionStatus::limited:
    case PhotosPermissionStatus::denied:
    case PhotosPermissionStatus::restricted:
      break;
  }
  return "cannot be changed";
}

std::string_view rawText(PhotosPermissionStatus status) {
  switch (status) {
    case PhotosPermissionStatus::authorized:
      return "authorized";
    case PhotosPermissionStatus::limited:
      return "limited";
    case PhotosPermissionStatus::notDetermined:
      return "notDetermined";
    case PhotosPermissionStatus::denied:
      return "denied";
    case PhotosPermissionStatus::restricted:
      break;
  }
  return "restricted";
}

std::string camerasText(const CamerasReport& report) {
  const auto connected =
      std::ranges::count_if(report.cameras, [](const auto& camera) { return camera.volume.has_value(); });
  return std::to_string(report.cameras.size()) + " saved, " + std::to_string(connected) + " connected";
}

std::string lastSyncText(const LastSyncReceipt& receipt) {
  const auto counts = MediaCounts::ofTotal(receipt.count, receipt.videoCount.value_or(0));
  return iso8601Text(receipt.completedAt) + ", " + counts.description() + " from “" +
         printable(receipt.deviceName) + "”";
}

// Nothing where no import is paused.
std::string pausedText(const StatusReport& report) {
  std::vector<std::string> lines;
  for (const StatusReport::PausedFile& file : report.pausedFiles) {
    lines.push_back("“" + printable(file.camera) + "”: " + printable(file.relativePath));
  }
  if (report.pausedElsewhere > 0) {
    lines.push_back(counted(report.pausedElsewhere, "file that was", "files that were") +
                    " not found on a connected camera");
  }
  if (!report.pausedFiles.empty()) {
    lines.push_back(setAsideAdvice());
  }
  std::string text;
  for (const std::string& line : lines) {
    text += factLine(text.empty() ? "Paused imports" : "", line);
  }
  return text;
}

std::string yesOrNo(bool value) { return value ? "yes" : "no"; }

void write(JSONWriter& writer, const LastSyncReceipt& receipt) {
  writer.beginObject();
  writer.integer("count", receipt.count);
  writer.integer("videoCount", receipt.videoCount.value_or(0));
  writer.string("deviceName", receipt.deviceName);
  writer.string("completedAt", iso8601Text(receipt.completedAt));
  writer.endObject();
}

void write(JSONWriter& writer, const ImportHistorySummary& history) {
  writer.beginObject();
  writer.integer("photos", history.uniquePhotoCount);
  writer.integer("videos", history.uniqueVideoCount);
  writer.endObject();
}

void write(JSONWriter& writer, const std::vector<std::string>& texts) {
  writer.beginArray();
  for (const std::string& text : texts) {
    writer.string(text);
  }
  writer.endArray();
}

void write(JSONWriter& writer, const std::vector<StatusReport::PausedFile>& files) {
  writer.beginArray();
  for (const StatusReport::PausedFile& file : files) {
    writer.beginObject();
    writer.string("camera", file.camera);
    writer.string("relativePath", file.relativePath);
    writer.endObject();
  }
  writer.endArray();
}

void write(JSONWriter& writer, const HomeHolder& holder) {
  writer.beginObject();
  writer.integer("process", holder.process);
  writer.string("command", holder.command);
  writer.endObject();
}

void write(JSONWriter& writer, const std::string& text) { writer.string(text); }

template <typename Value>
void writeOptional(JSONWriter& writer, std::string_view key, const std::optional<Value>& value) {
  writer.key(key);
  if (value) {
    write(writer, *value);
  } else {
    writer.null();
  }
}

}  // namespace

std::string pausedFileProgressText(const std::string& camera, std::size_t number, std::size_t total) {
  return "Looking for paused imports on “" + printable(camera) + "”: file " + std::to_string(number) +
         " of " + std::to_string(total);
}

std::string StatusReport::text() const {
  std::string text = factLine("Setup", isSetUp ? "complete" : "not complete: run tolvanderctl sync VOLUME");
  text += factLine("At work now", holder ? printable(holder->text()) : "nobody");
  text += factLine("Cameras", camerasText(cameras));
  if (cameras.problem) {
    text += factLine("", *cameras.problem);
  }
  text += factLine("Imported", history ? MediaCounts{.photos = history->uniquePhotoCount,
                                                     .videos = history->uniqueVideoCount}
                                             .description()
                                       : "the import history cannot be read");
  if (finishedByNextSync > 0) {
    text +=
        factLine("Cut short", counted(finishedByNextSync, "import, which the next sync of its card finishes",
                                      "imports, which the next sync of their card finishes"));
  }
  text += pausedText(*this);
  for (std::size_t index = 0; index < setAside.size(); ++index) {
    text += factLine(index == 0 ? "Set aside" : "", printable(setAside[index]));
  }
  text += factLine("Last sync", lastSync ? lastSyncText(*lastSync) : "none");
  text += factLine("Album", album ? printable(*album) : "none");
  text += factLine("Moves to the Trash", yesOrNo(movesToTrash));
  text += factLine("Ejects", yesOrNo(ejects));
  text += factLine("Photo library", printable(libraryFolder.path()) + " (" +
                                        (libraryProblem ? "cannot be used: " + printable(*libraryProblem)
                                                        : std::string(libraryWord(photos))) +
                                        ")");
  text += factLine("Import history", printable(historyFile.path()));
  text += factLine("Settings", printable(settingsFile.path()));
  return text + factLine("Log", printable(logFolder.path()));
}

std::string StatusReport::json() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    const auto connected =
        std::ranges::count_if(cameras.cameras, [](const auto& camera) { return camera.volume.has_value(); });
    writer.beginObject();
    writer.boolean("isSetUp", isSetUp);
    writeOptional(writer, "holder", holder);
    writer.string("photos", rawText(photos));
    writer.integer("savedCameras", static_cast<std::int64_t>(cameras.cameras.size()));
    writer.integer("connectedCameras", connected);
    writeOptional(writer, "history", history);
    writer.integer("finishedByNextSync", finishedByNextSync);
    writer.key("pausedFiles");
    write(writer, pausedFiles);
    writer.integer("pausedElsewhere", pausedElsewhere);
    writer.key("setAside");
    write(writer, setAside);
    writeOptional(writer, "lastSync", lastSync);
    writeOptional(writer, "album", album);
    writer.boolean("movesToTrash", movesToTrash);
    writer.boolean("ejects", ejects);
    writer.string("historyFile", historyFile.path());
    writer.string("settingsFile", settingsFile.path());
    writer.string("libraryFolder", libraryFolder.path());
    writeOptional(writer, "libraryProblem", libraryProblem);
    writer.string("logFolder", logFolder.path());
    writer.endObject();
  });
}

}  // namespace tolvander::app
