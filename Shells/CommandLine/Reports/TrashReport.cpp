#include "Shells/CommandLine/Reports/TrashReport.h"

#include <algorithm>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::app {

namespace {

TrashReport::Camera& cameraOf(const ManagedTrashRecord& record, std::vector<TrashReport::Camera>& cameras) {
  const std::string id = record.deviceIdentifier.value_or(record.volumeName);
  const auto found =
      std::ranges::find_if(cameras, [&](const TrashReport::Camera& camera) { return camera.id == id; });
  return found != cameras.end()
             ? *found
             : cameras.emplace_back(TrashReport::Camera{.id = id, .name = record.volumeName, .files = {}});
}

std::optional<std::int64_t> byteCountOf(const ManagedTrashRecord& record, const TrashService& trash) {
  if (trash.availableRecords({record}).empty()) {
    return std::nullopt;
  }
  try {
    return fileResourceValues(FileURL(record.trashedPath)).fileSize;
  } catch (const Error&) {
    return std::nullopt;  // it went at this moment
  }
}

std::string line(const TrashReport::File& file) {
  constexpr std::size_t sizeWidth = 10;
  const std::string size = file.byteCount ? byteCountText(*file.byteCount) : "not here";
  return iso8601Text(file.trashedAt) + "  " + std::string(sizeWidth - std::min(sizeWidth, size.size()), ' ') +
         size + "  " + printable(file.filename) + "\n";
}

void write(JSONWriter& writer, const TrashReport::File& file) {
  writer.beginObject();
  writer.string("filename", file.filename);
  writer.string("trashedAt", iso8601Text(file.trashedAt));
  writer.key("byteCount");
  if (file.byteCount) {
    writer.integer(*file.byteCount);
  } else {
    writer.null();
  }
  writer.endObject();
}

}  // namespace

std::int64_t TrashReport::Camera::reachable(const std::optional<Filenames>& filenames) const {
  return std::ranges::count_if(files, [&](const File& file) {
    return file.byteCount && (!filenames || filenames->contains(file.filename));
  });
}

TrashReport TrashReport::of(std::vector<ManagedTrashRecord> records,
                            const std::vector<TrashIntent>& unsettled, const TrashService& trash) {
  const TrashSettlement settlement = trash.settlement(records, unsettled, CancellationToken());
  for (const ManagedTrashRecord& relocated : settlement.relocated) {
    std::ranges::replace_if(
        records, [&](const ManagedTrashRecord& record) { return record.id == relocated.id; }, relocated);
  }
  records.insert(records.end(), settlement.found.begin(), settlement.found.end());
  TrashReport report;
  for (const ManagedTrashRecord& record : records) {
    cameraOf(record, report.cameras)
        .files.push_back({.filename = record.originalFilename,
                          .trashedAt = record.trashedAt,
                          .byteCount = byteCountOf(record, trash)});
  }
  return report;
}

TrashReport::Filenames TrashReport::unknown(const Filenames& filenames) const {
  Filenames unknown = filenames;
  for (const Camera& camera : cameras) {
    for (const File& file : camera.files) {
      if (file.byteCount) {
        unknown.erase(file.filename);
      }
    }
  }
  return unknown;
}

std::string TrashReport::text() const {
  std::string text;
  for (const Camera& camera : cameras) {
    text += "“" + printable(camera.name) +
            "”: " + counted(static_cast<std::int64_t>(camera.files.size()), "file", "files") +
            " in the Trash\n";
    for (const File& file : camera.files) {
      text += line(file);
    }
  }
  return text.empty() ? nothingInTrashText() : text;
}

std::string TrashReport::json() const {
  return jsonText(JSONWriter::Style::prettyPrinted, [this](JSONWriter& writer) {
    writer.beginObject();
    writer.key("cameras");
    writer.beginArray();
    for (const Camera& camera : cameras) {
      writer.beginObject();
      writer.string("id", camera.id);
      writer.string("name", camera.name);
      writer.key("files");
      writer.beginArray();
      for (const File& file : camera.files) {
        write(writer, file);
      }
      writer.endArray();
      writer.endObject();
    }
    writer.endArray();
    writer.endObject();
  });
}

Alert putBackQuestion(std::int64_t count, const std::string& cameraName) {
  return {.style = Alert::Style::informational,
          .message = "Put " + counted(count, "file", "files") + " back on “" + cameraName + "”?",
          .informativeText = "Each returns from the Trash to where it was. The photo library stays as it is.",
          .buttons = {"Put Back", "Cancel"}};
}

std::string nothingInTrashText() { return "No camera file lies in the Trash.\n"; }

std::string nothingInConnectedTrashText() { return "No connected camera has files of ours in its Trash.\n"; }

std::string notInTrashText(const TrashReport::Filenames& filenames) {
  std::string names;
  for (const std::string& filename : filenames) {
    names += (names.empty() ? "“" : ", “") + printable(filename) + "”";
  }
  return "Nothing was put back: no connected camera has " + names + " in its Trash.";
}

}  // namespace tolvander::app
