#include "TolvanderApp/Presentation/SyncReport.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/JSONWriter.h"
#include "TolvanderCore/MediaCounts.h"

namespace tolvander::app {

namespace {

constexpr std::array<std::string_view, 7> phaseNames = {
    "checkingAccess", "fingerprinting", "recognizing", "preparing", "importing", "album", "finished"};

std::string jsonLine(const std::function<void(JSONWriter&)>& write) {
  return jsonText(JSONWriter::Style::compact, write);
}

std::string line(const SyncReport::Camera& camera) {
  const std::string name = "“" + printable(camera.receipt.deviceName) + "”: ";
  if (camera.receipt.count == 0) {
    return name + "nothing new\n";
  }
  const auto counts = MediaCounts::ofTotal(camera.receipt.count, camera.receipt.videoCount.value_or(0));
  return name + counts.description() + " imported\n";
}

}  // namespace

std::string SyncReport::text() const {
  std::string text;
  for (const Camera& camera : cameras) {
    text += line(camera);
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
    for (const Camera& camera : cameras) {
      writer.beginObject();
      writer.string("volume", camera.volumeURL.path());
      writer.string("name", camera.receipt.deviceName);
      writer.integer("imported", camera.receipt.count);
      writer.integer("videos", camera.receipt.videoCount.value_or(0));
      writer.endObject();
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

// MARK: Watching a run

SyncRecorder::SyncRecorder(AppModel& model, const FileURL& library)
    : model_(model),
      report_({.status = {}, .failure = {}, .cameras = {}, .likelyCopies = {}, .library = library}) {
  receipts_ = model.cameraCheckReceipts.observe([this](const auto& receipts) { take(receipts); });
  statusReceipts_ = model.statusReceipt.observe([this](const auto& receipt) { take(receipt); });
}

// A receipt is told again with every other camera's, and is gone once its volume is.
void SyncRecorder::take(const std::map<FileURL, LastSyncReceipt>& receipts) {
  for (const auto& [volume, receipt] : receipts) {
    const bool isKnown = std::ranges::any_of(report_.cameras, [&](const SyncReport::Camera& camera) {
      return camera.volumeURL == volume && camera.receipt == receipt;
    });
    if (!isKnown) {
      report_.cameras.push_back({.volumeURL = volume, .receipt = receipt});
    }
  }
}

void SyncRecorder::take(const std::optional<StatusReceipt>& receipt) {
  if (!receipt) {
    return;
  }
  for (const std::string& name : receipt->metadataSkippedFiles) {
    if (std::ranges::find(report_.likelyCopies, name) == report_.likelyCopies.end()) {
      report_.likelyCopies.push_back(name);
    }
  }
}

SyncReport SyncRecorder::report(bool wasStopped, std::optional<std::string> failure) const {
  RunResult result = RunResult::of(model_, report_.library, wasStopped, std::move(failure));
  SyncReport report = report_;
  report.outcome = result.outcome;
  report.status = std::move(result.status);
  report.failure = std::move(result.failure);
  return report;
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

std::string noCameraSavedText() {
  return "No camera is saved. Name one to sync it and to remember it: tolvanderctl sync VOLUME";
}

std::string notRememberedText(const FileURL& volume) {
  return "“" + printable(volume.path()) + "” was not remembered as a camera, and nothing was imported.";
}

std::string notACameraText(const FileURL& volume) {
  return "No camera was found in “" + printable(volume.path()) + "”.";
}

}  // namespace tolvander::app
