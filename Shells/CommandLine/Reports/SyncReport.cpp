#include "Shells/CommandLine/Reports/SyncReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/JSON/JSONWriter.h"
#include "TolvanderCore/MediaCounts.h"

namespace tolvander::app {

namespace {

constexpr std::array<std::string_view, 7> phaseNames = {
    "checkingAccess", "fingerprinting", "recognizing", "preparing", "importing", "album", "finished"};

std::string jsonLine(const std::function<void(JSONWriter&)>& write) {
  return jsonText(JSONWriter::Style::compact, write);
}

std::string_view outcomeName(CameraRun::End end) {
  switch (end) {
    case CameraRun::End::done:
      return "done";
    case CameraRun::End::cameraWentAway:
      return "cameraWentAway";
    case CameraRun::End::failed:
      return "failed";
    case CameraRun::End::running:
    case CameraRun::End::stopped:
      break;
  }
  return "stopped";
}

// Absent where it isn't known how many are new.
std::optional<std::int64_t> notImportedCount(const CameraRun& run) {
  if (run.end == CameraRun::End::done) {
    return 0;
  }
  return run.newCount ? std::optional(*run.newCount - run.imported.total()) : std::nullopt;
}

void write(JSONWriter& writer, const CameraRun& run) {
  writer.beginObject();
  writer.string("volume", run.volumeURL.path());
  writer.string("name", run.name);
  writer.string("outcome", outcomeName(run.end));
  writer.integer("files", run.fileCount);
  writer.integer("imported", run.imported.total());
  writer.integer("videos", run.imported.videos);
  if (const auto count = notImportedCount(run)) {
    writer.integer("notImported", *count);
  } else {
    writer.key("notImported");
    writer.null();
  }
  writer.key("setAside");
  writer.beginArray();
  for (const std::string& path : run.setAside) {
    writer.string(path);
  }
  writer.endArray();
  writer.endObject();
}

std::string runLine(const CameraRun& run) {
  const std::string name = "“" + printable(run.name) + "”: ";
  const std::int64_t imported = run.imported.total();
  const auto notImported = notImportedCount(run);
  if (!notImported) {
    return name + "nothing imported; not all of its " + counted(run.fileCount, "file was", "files were") +
           " compared with the library\n";
  }
  if (*notImported > 0) {
    return name + counted(imported, "item", "items") + " imported; " +
           counted(*notImported, "new item was", "new items were") + " not imported\n";
  }
  return name + (imported == 0 ? "nothing new" : run.imported.description() + " imported") + "\n";
}

}  // namespace

std::string SyncReport::text() const {
  std::string text;
  for (const CameraRun& camera : cameras) {
    text += runText(camera);
  }
  if (!likelyCopies.empty()) {
    text += counted(static_cast<std::int64_t>(likelyCopies.size()), "likely duplicate", "likely duplicates") +
            " skipped:";
    for (const std::string& name : likelyCopies) {
      text += " " + printable(name);
    }
    text += "\n";
  }
  if (!cameras.empty()) {
    text += "Photo library: " + printable(library.path()) + "\n";
  }
  return text;
}

std::string SyncReport::json() const {
  return jsonLine([this](JSONWriter& writer) {
    writer.beginObject();
    writer.key("result");
    writer.beginObject();
    RunResult{.outcome = outcome, .status = status, .failure = failure}.write(writer);
    writer.key("cameras");
    writer.beginArray();
    for (const CameraRun& camera : cameras) {
      write(writer, camera);
    }
    writer.endArray();
    writer.key("likelyCopies");
    writer.beginArray();
    for (const std::string& name : likelyCopies) {
      writer.string(name);
    }
    writer.endArray();
    writer.string("library", library.path());
    writer.endObject();
    writer.endObject();
  });
}

// MARK: Of a run

namespace {

// A later sync begins without the failure of the one before, which the summary keeps.
std::optional<RunFailure> failureOf(const FlowOutcome& outcome) {
  if (outcome.failure) {
    return RunFailure{failureText(*outcome.failure)};
  }
  return outcome.end == FlowEnd::cameraWentAway ? std::optional(cameraWentAway()) : std::nullopt;
}

// Each name once, in the order of the cameras.
std::vector<std::string> likelyCopiesOf(const std::vector<CameraRun>& runs) {
  std::vector<std::string> names;
  for (const CameraRun& run : runs) {
    std::ranges::copy_if(run.likelyCopies, std::back_inserter(names), [&names](const std::string& name) {
      return std::ranges::find(names, name) == names.end();
    });
  }
  return names;
}

}  // namespace

SyncReport SyncReport::of(const AppModel& model, SyncSummary summary, const FileURL& library, bool wasStopped,
                          std::optional<RunFailure> failure) {
  if (!failure && !model.lastError->has_value()) {
    failure = failureOf(summary.outcome);
  }
  RunResult result = RunResult::of(model, library, wasStopped, std::move(failure));
  return {.outcome = result.outcome,
          .status = std::move(result.status),
          .failure = std::move(result.failure),
          .cameras = summary.cameras,
          .likelyCopies = likelyCopiesOf(summary.cameras),
          .library = library};
}

// MARK: While it runs

std::string statusJSON(const std::string& status) {
  return jsonLine([&](JSONWriter& writer) {
    writer.beginObject();
    writer.string("status", status);
    writer.endObject();
  });
}

std::string phaseJSON(const SyncPhase& phase) {
  return jsonLine([&](JSONWriter& writer) {
    writer.beginObject();
    writer.string("phase", phaseNames.at(static_cast<std::size_t>(phase.kind)));
    if (phase.kind == SyncPhase::Kind::importing) {
      writer.integer("completed", phase.completed);
      writer.integer("total", phase.total);
    }
    writer.endObject();
  });
}

std::string notificationJSON(const NotificationRequest& notification) {
  return jsonLine([&](JSONWriter& writer) {
    writer.beginObject();
    writer.key("notification");
    writer.beginObject();
    writer.string("title", notification.title);
    writer.string("body", notification.body);
    writer.endObject();
    writer.endObject();
  });
}

std::string progressBar(const SyncPhase& phase, const std::string& status,
                        std::chrono::duration<double> sinceTheImportBegan) {
  constexpr std::int64_t width = 24;
  constexpr std::chrono::duration<double> firstMoments(1);
  const std::int64_t done = phase.total > 0 ? width * phase.completed / phase.total : 0;
  std::string text = "[";
  for (std::int64_t cell = 0; cell < width; ++cell) {
    text += cell < done ? '#' : '.';
  }
  text += "] " + printable(status);
  if (phase.completed > 0 && sinceTheImportBegan >= firstMoments) {
    const double rate = static_cast<double>(phase.completed) / sinceTheImportBegan.count();
    text += "  " + decimalText(std::round(rate * 10) / 10) + " files/s";
  }
  return text;
}

std::string notificationText(const NotificationRequest& notification) {
  return printable(notification.title) + ": " + printable(notification.body) + "\n";
}

std::string runText(const CameraRun& run) { return runLine(run) + setAsideLine(run.name, run.setAside); }

std::string setAsideLine(const std::string& camera, const std::vector<std::string>& paths) {
  if (paths.empty()) {
    return "";
  }
  std::string line =
      "“" + printable(camera) + "”: " + counted(std::ssize(paths), "file is", "files are") + " set aside:";
  for (const std::string& path : paths) {
    line += " " + printable(path);
  }
  return line + "\n";
}

RunFailure failureOf(const SyncObstacle& obstacle) {
  using Kind = SyncObstacle::Kind;
  const std::string volume = obstacle.volume ? "“" + printable(obstacle.volume->path()) + "”" : "";
  switch (obstacle.kind) {
    case Kind::noCameraSaved:
      return {"No camera is saved. Name one to sync it and to remember it: tolvanderctl sync VOLUME",
              RunOutcome::noCamera};
    case Kind::notRemembered:
      return {volume + " was not remembered as a camera, and nothing was imported."};
    case Kind::notACamera:
      return {"No camera was found in " + volume + "."};
    case Kind::noCameraConnected:
      return noCameraConnected();
    case Kind::cameraWentAway:
      break;
  }
  return cameraWentAway();
}

}  // namespace tolvander::app
