#include "TolvanderApp/Model/FailureDisplay.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Model/StatusPresentation.h"
#include "TolvanderApp/Permissions/PermissionService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/RecognitionError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::app {

namespace {

// Whether a check against the library can settle the failure.
bool canBeSettledByReview(const std::exception& error) {
  if (dynamic_cast<const RecognitionError*>(&error)) {
    return true;
  }
  if (const auto* library = dynamic_cast<const PhotoLibraryError*>(&error)) {
    return library->kind() == PhotoLibraryError::Case::inconsistentChangeResult;
  }
  const auto* history = dynamic_cast<const SyncHistoryError*>(&error);
  return history && history->kind() != SyncHistoryError::Case::unreadableHistory;
}

bool isAccessDenied(const std::exception& error) {
  const auto* library = dynamic_cast<const PhotoLibraryError*>(&error);
  return library && library->kind() == PhotoLibraryError::Case::accessDenied;
}

}  // namespace

void FailureDisplay::show(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const CancellationError&) {
  } catch (const std::exception& error) {
    show(error);
  }
}

void FailureDisplay::showStoppedOrFailure(const std::exception_ptr& failure, const std::string& stopped) {
  try {
    std::rethrow_exception(failure);
  } catch (const CancellationError&) {
    showStopped(stopped);
  } catch (const std::exception& error) {
    show(error);
  }
}

void FailureDisplay::showStopped(const std::string& stopped) {
  const bool hasAccess = model_.photosPermissionStatus == PhotosPermissionStatus::authorized &&
                         !model_.removableVolumeAccessIssue->has_value();
  if (!stopped.empty()) {
    fields_.statusMessage = hasAccess ? stopped : model_.idleStatus();
  }
  // Apart from a request, only a camera that is gone stops a flow.
  fields_.cameraWentAway = model_.cameraWentAway || !context_.gate.isStopRequested();
}

void FailureDisplay::show(const std::exception& error) {
  context_.record(DiagnosticLog::Event::operationFailed, AppDiagnostics::errorMetrics(error));
  context_.applyPhotosPermissionStatus(
      app::photosPermissionStatus(context_.platform.photoLibrary.authorizationStatus()));
  if (const auto* source = dynamic_cast<const MediaSourceError*>(&error)) {
    showDeniedVolume(source->volumeName());
    return;
  }
  present(error);
  if (isAccessDenied(error)) {
    context_.requireSetupAfterAccessLoss();
    model_.lookAgain();
  }
}

void FailureDisplay::present(const std::exception& error) {
  fields_.lastError = failureText(error, context_.platform.systemNames);
  fields_.offersPhotoReview = canBeSettledByReview(error);
  fields_.statusMessage = failureStatus(model_.offersPhotoReview);
}

// Reading a volume that was unplugged is refused like a denied one. Then nothing is shown.
void FailureDisplay::showDeniedVolume(const std::string& volumeName) {
  if (isVolumeMounted(volumeName)) {
    fields_.removableVolumeAccessIssue = RemovableVolumeAccessIssue{.volumeName = volumeName};
    fields_.statusMessage = "Camera access needed";
    events_.suspendSetupForADeniedVolume();
  }
}

bool FailureDisplay::isVolumeMounted(const std::string& name) {
  const auto volumes = access_.mountedVolumes();
  return std::ranges::any_of(volumes, [&](const MountedVolume& volume) {
    return CameraVolumeDiscovery::displayName(volume) == name;
  });
}

void FailureDisplay::showText(std::string text) { fields_.lastError = std::move(text); }

void FailureDisplay::clearFailureAndReceipt() {
  fields_.lastError = std::nullopt;
  if (model_.statusReceipt->has_value()) {
    receipts_.discard();
  }
}

void FailureDisplay::lastErrorDidChange() {
  fields_.lastErrorFile =
      model_.lastError->has_value() ? std::exchange(failedFile_, std::nullopt) : std::nullopt;
  fields_.offersPhotoReview = false;
  if (model_.lastError->has_value()) {
    receipts_.discard();
  }
}

std::optional<FlowFailure> FailureDisplay::failure() const {
  if (model_.lastError->has_value()) {
    return FlowFailure{.words = *model_.lastError.value(), .file = model_.lastErrorFile};
  }
  if (const auto& issue = model_.removableVolumeAccessIssue.value()) {
    return FlowFailure{
        .words =
            MediaSourceError::volumeAccessDenied(issue->volumeName).describe(context_.platform.systemNames),
        .file = std::nullopt};
  }
  if (model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    return FlowFailure{
        .words = PhotoLibraryError(PhotoLibraryError::Case::accessDenied).description().value_or(""),
        .file = std::nullopt};
  }
  return std::nullopt;
}

}  // namespace tolvander::app
