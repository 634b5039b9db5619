#include "Shells/CommandLine/Reports/RunResult.h"

#include <utility>

#include "TolvanderApp/Presentation/Wording.h"

namespace tolvander::app {

std::string failureText(const FlowFailure& failure) { return failureOfFile(failure.file, failure.words); }

namespace {

std::optional<RunFailure> failureOf(const AppModel& model, const FileURL& library) {
  const auto failure = model.failure();
  if (!failure) {
    return model.cameraWentAway ? std::optional(cameraWentAway()) : std::nullopt;
  }
  const bool isOfTheLibrary = !model.lastError->has_value() && !model.removableVolumeAccessIssue->has_value();
  if (isOfTheLibrary && model.photosPermissionStatus == PhotosPermissionStatus::denied) {
    return RunFailure{failure->words + " “" + library.path() + "” cannot be changed."};
  }
  return RunFailure{failureText(*failure)};
}

}  // namespace

std::string_view rawText(RunOutcome outcome) {
  switch (outcome) {
    case RunOutcome::done:
      return "done";
    case RunOutcome::failed:
      return "failed";
    case RunOutcome::incomplete:
      return "incomplete";
    case RunOutcome::cameraWentAway:
      return "cameraWentAway";
    case RunOutcome::noCamera:
      return "noCamera";
    case RunOutcome::stopped:
      break;
  }
  return "stopped";
}

RunOutcome runOutcome(FlowEnd end) {
  switch (end) {
    case FlowEnd::done:
      return RunOutcome::done;
    case FlowEnd::declined:
    case FlowEnd::failed:
      return RunOutcome::failed;
    case FlowEnd::stopped:
      return RunOutcome::stopped;
    case FlowEnd::cameraWentAway:
      break;
  }
  return RunOutcome::cameraWentAway;
}

RunResult RunResult::of(const AppModel& model, const FileURL& library, bool wasStopped,
                        std::optional<RunFailure> failure) {
  if (!failure) {
    failure = failureOf(model, library);
  }
  const bool isDenied = model.removableVolumeAccessIssue->has_value();
  RunResult result{.outcome = RunOutcome::done,
                   .status = isDenied ? model.idleStatus() : model.statusMessage.value(),
                   .failure = {}};
  if (failure) {
    result.outcome = failure->outcome;
    result.failure = std::move(failure->words);
  }
  if (wasStopped) {
    result.outcome = RunOutcome::stopped;
  } else if (model.offersPhotoReview || model.photoReviewIsIncomplete()) {
    result.outcome = RunOutcome::incomplete;
  }
  return result;
}

std::string RunResult::json() const {
  return jsonText(JSONWriter::Style::compact, [this](JSONWriter& writer) {
    writer.beginObject();
    writer.key("result");
    writer.beginObject();
    write(writer);
    writer.endObject();
    writer.endObject();
  });
}

void RunResult::write(JSONWriter& writer) const {
  writer.string("outcome", rawText(outcome));
  writer.string("status", status);
  writer.key("failure");
  if (failure) {
    writer.string(*failure);
  } else {
    writer.null();
  }
}

// A lost library ends setup as well, and is told by the model in its own words.
std::optional<std::string> reasonAgainstWork(const AppModel& model) {
  if (!model.settings().onboardingCompleted() &&
      model.photosPermissionStatus != PhotosPermissionStatus::denied) {
    return "Tolvander isn’t set up yet. A first sync does that: tolvanderctl sync VOLUME";
  }
  return std::nullopt;
}

RunFailure noCameraConnected() { return {"No saved camera is connected.", RunOutcome::noCamera}; }

RunFailure cameraWentAway() {
  return {"The camera went away before everything was done.", RunOutcome::cameraWentAway};
}

std::string notASavedCameraText(const FileURL& volume) {
  return "“" + printable(volume.path()) +
         "” is no saved camera that is connected. tolvanderctl cameras list shows those that are saved.";
}

}  // namespace tolvander::app
