#include "TolvanderApp/Model/StatusPresentation.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "TolvanderCore/Counted.h"
#include "TolvanderCore/MediaCounts.h"

namespace tolvander::app {

namespace {

constexpr std::string_view attentionSymbol = "exclamationmark.circle.fill";
constexpr std::string_view doneSymbol = "checkmark.circle";

constexpr std::string_view readyToImport = "Ready to import";
constexpr std::string_view cameraUpToDate = "Camera up to date";

// "2 photos and 1 video". `videos` is limited to what `total` allows.
std::string itemsText(std::int64_t total, std::int64_t videos) {
  return MediaCounts::ofTotal(total, std::clamp<std::int64_t>(videos, 0, std::max<std::int64_t>(total, 0)))
      .description();
}

bool isWorking(const StatusState& state) { return state.isSyncing || state.isEjecting; }

bool hasPhotosAccess(const StatusState& state) {
  return state.photosPermissionStatus == PhotosPermissionStatus::authorized;
}

std::string idleStatus(const StatusState& state) {
  if (!hasPhotosAccess(state)) {
    return "Photos access needed";
  }
  if (state.hasRemovableVolumeAccessIssue) {
    return "Camera access needed";
  }
  if (!state.hasAuthorizedProfiles) {
    return statusWithoutProfiles(state.hasAvailableRemovableVolumes);
  }
  if (state.hasError) {
    return failureStatus(state.offersPhotoReview);
  }
  if (state.photoReviewIsIncomplete) {
    return "Camera check incomplete";
  }
  if (state.connectedDevices.empty()) {
    return "Waiting for connection";
  }
  return std::string(connectedCameraReceipt(state) ? cameraUpToDate : readyToImport);
}

bool showsReceipt(const StatusState& state) {
  return !isWorking(state) && !state.hasError && state.statusReceipt &&
         state.statusReceipt->message == state.statusMessage;
}

std::optional<std::string> detail(const StatusState& state) {
  if (state.statusMessage == readyToImport) {
    return "Check for new items, or reconnect your camera.";
  }
  std::string text;
  if (const auto receipt = connectedCameraReceipt(state); receipt && state.statusMessage == cameraUpToDate) {
    text = receipt->deviceName;
  }
  if (showsReceipt(state) && state.statusReceipt->metadataSkippedCount >= 1) {
    text += (text.empty() ? "" : " · ") + countedInDigits(state.statusReceipt->metadataSkippedCount,
                                                          "likely duplicate skipped",
                                                          "likely duplicates skipped");
  }
  return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<Date> date(const StatusState& state) {
  if (state.hasError || isWorking(state)) {
    return std::nullopt;
  }
  if (state.statusMessage == cameraUpToDate) {
    const auto receipt = connectedCameraReceipt(state);
    return receipt ? std::optional(receipt->completedAt) : std::nullopt;
  }
  return showsReceipt(state) ? std::optional(state.statusReceipt->completedAt) : std::nullopt;
}

std::optional<std::string> symbol(const StatusState& state) {
  if (state.hasError) {
    return std::string(attentionSymbol);
  }
  if (isWorking(state)) {
    return std::nullopt;
  }
  if (state.photoReviewIsIncomplete) {
    return std::string(attentionSymbol);
  }
  if (date(state) || state.hasCompletedLibraryReview) {
    return std::string(doneSymbol);
  }
  return std::nullopt;
}

bool showsAttentionBadge(const StatusState& state) {
  if (!state.onboardingCompleted) {
    return state.onboardingNeedsAttention;
  }
  return !hasPhotosAccess(state) || !state.hasAuthorizedProfiles || state.hasError ||
         state.photoReviewIsIncomplete || state.hasRemovableVolumeAccessIssue;
}

std::optional<std::string> collectedLabel(const StatusState& state) {
  if (!state.collectedPhotoCount || !state.collectedVideoCount) {
    return std::nullopt;
  }
  const std::int64_t total = *state.collectedPhotoCount + *state.collectedVideoCount;
  if (total < 1) {
    return std::nullopt;
  }
  return itemsText(total, *state.collectedVideoCount) + " collected";
}

}  // namespace

StatusPresentation StatusPresentation::of(const StatusState& state) {
  return {.idleStatus = app::idleStatus(state),
          .showsReceipt = app::showsReceipt(state),
          .detail = app::detail(state),
          .detailHelp = app::showsReceipt(state) ? state.statusReceipt->duplicateHelp() : std::nullopt,
          .date = app::date(state),
          .symbol = app::symbol(state),
          .showsAttentionBadge = app::showsAttentionBadge(state),
          .collectedLabel = app::collectedLabel(state)};
}

CompletionPresentation completionPresentation(const StatusState& state,
                                              std::optional<std::chrono::duration<double>> clearAfter) {
  if (state.hasError || !state.statusReceipt || (!clearAfter && state.connectedDevices.empty())) {
    return {};
  }
  const auto duration = state.statusReceipt->minimumDisplayDuration;
  return {.showsCheckmark = true,
          .minimumDisplayDuration = clearAfter ? std::max(duration, *clearAfter) : duration};
}

std::string statusWithoutProfiles(bool hasAvailableRemovableVolumes) {
  return hasAvailableRemovableVolumes ? "Connect your Charmera" : "Waiting for connection";
}

std::string failureStatus(bool offersPhotoReview) {
  return offersPhotoReview ? "Camera check incomplete" : "Sync needs attention";
}

std::string restingStatus(const StatusState& state, const std::string& fallback) {
  return state.statusReceipt ? state.statusReceipt->message : fallback;
}

std::string syncStatus(const LastSyncReceipt& receipt, bool ejected) {
  if (receipt.count == 0) {
    return ejected ? "Checked & ejected" : std::string(cameraUpToDate);
  }
  return itemsText(receipt.count, receipt.videoCount.value_or(0)) +
         (ejected ? " synced & ejected" : " synced");
}

std::optional<LastSyncReceipt> connectedCameraReceipt(const StatusState& state) {
  if (state.connectedDevices.empty()) {
    return std::nullopt;
  }
  const auto found = state.cameraCheckReceipts.find(state.connectedDevices.front().volumeURL.standardized());
  return found == state.cameraCheckReceipts.end() ? std::nullopt : std::optional(found->second);
}

bool isIncomplete(const std::vector<DeviceLibraryReview>& reviews) {
  return std::ranges::any_of(reviews, [](const DeviceLibraryReview& entry) {
    return !entry.review.unchecked.empty() || !entry.review.uncertain.empty();
  });
}

}  // namespace tolvander::app
