#include "TolvanderApp/Presentation/StatusFace.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/Presentation/ReviewWording.h"
#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

using Kind = FaceAction::Kind;

// MARK: Status

// The line below the status is then about the first review, and holds its counts.
bool showsReviewInStatus(const FaceState& state) {
  return !state.libraryReviews.empty() &&
         (state.statusMessage == "Camera up to date" || state.statusMessage == "Camera check incomplete");
}

std::string completionTime(const std::string& verb, const ShownDate& date) {
  return date.isToday ? verb + " at " + date.time : verb + " " + date.dateAndTime;
}

std::string countsHelp(const FaceState& state) {
  return "Checks supported camera files against originals available on " + state.names.computer +
         ". An unrecognized item may already be in Photos. Missing means previously imported but no longer "
         "found.";
}

std::optional<std::string> detailHelp(const FaceState& state) {
  if (!showsReviewInStatus(state)) {
    return state.settingsStatusDetailHelp;
  }
  return state.settingsStatusDetailHelp ? *state.settingsStatusDetailHelp + "\n\n" + countsHelp(state)
                                        : countsHelp(state);
}

// Only an import knows how much there is to do.
FaceProgress progress(const SyncPhase& phase) {
  if (phase.kind != SyncPhase::Kind::importing || phase.total < 1) {
    return {.share = std::nullopt};
  }
  const double share = static_cast<double>(phase.completed) / static_cast<double>(phase.total);
  return {.share = std::clamp(share, 0.0, 1.0)};
}

std::vector<FaceButton> statusActions(const FaceState& state) {
  std::vector<FaceButton> actions;
  if (state.isSyncing) {
    actions.push_back({.title = state.isUpdatingAlbum ? "Stop" : "Stop Check", .action = {Kind::stopCheck}});
  } else if (!state.isEjecting) {
    actions.push_back({.title = "Check Now",
                       .action = {Kind::checkNow},
                       .help = "Import new photos and videos from your camera into Photos."});
  }
  if (state.offersPhotoReview || !state.libraryReviews.empty()) {
    actions.push_back(
        {.title = "Check Photos",
         .action = {Kind::checkPhotos},
         .isEnabled = canReviewPhotos(state),
         .help = "Compare camera files with originals available on " + state.names.computer + "."});
  }
  return actions;
}

// MARK: Reviews

FaceNote uncheckedNote(const FaceState& state, const ReviewCounts& counts) {
  return {.text = counts.reachedLimits
                      ? needsCheckingText(counts.unchecked)
                      : numberText(counts.unchecked) + " couldn’t be compared with local originals",
          .help = "Only originals available on " + state.names.computer +
                  " can be compared. Nothing is downloaded, and unchecked files are not imported. If checks "
                  "remain incomplete, contact " +
                  state.supportAddress + " for help."};
}

std::vector<FaceButton> reviewButtons(const FaceState& state, const ShownReview& review) {
  std::vector<FaceButton> buttons;
  if (review.counts.recognized > 0) {
    buttons.push_back({.title = "Remember Matches",
                       .action = {.kind = Kind::rememberMatches, .argument = review.volumeURL},
                       .isEnabled = !state.isWorking(),
                       .help = "Save matches to Tolvander’s history without changing Photos. Likely "
                               "duplicates stay on the camera.",
                       .accessibilityLabel = "Remember Photos matches"});
  }
  if (review.counts.importable() > 0 && review.counts.isComplete()) {
    buttons.push_back({.title = "Import Missing Items",
                       .action = {.kind = Kind::importMissingItems, .argument = review.volumeURL},
                       .isEnabled = !state.isWorking()});
  }
  return buttons;
}

// `isFirst`: the one of which the status row may have the counts.
ReviewEntry entryOf(const FaceState& state, const ShownReview& review, bool isFirst) {
  const ReviewCounts& counts = review.counts;
  ReviewEntry entry{};
  if (!isFirst || !showsReviewInStatus(state)) {
    entry.counts = FaceNote{.text = verificationCounts(counts), .help = countsHelp(state)};
  }
  if (counts.unchecked > 0) {
    entry.unchecked = uncheckedNote(state, counts);
  }
  if (counts.finishedByNextSync > 0) {
    entry.interrupted = FaceNote{.text = cutShortText(counts.finishedByNextSync),
                                 .help = cutShortAdvice(counts.finishedByNextSync)};
  }
  if (counts.paused() > 0) {
    entry.recovery = FaceNote{.text = recoveryText(counts.paused()), .help = recoveryAdvice()};
  }
  entry.buttons = reviewButtons(state, review);
  return entry;
}

}  // namespace

bool canReviewPhotos(const FaceState& state) {
  return state.onboardingCompleted && state.hasPhotosAccess() && !state.connectedDevices.empty() &&
         !state.isWorking();
}

std::optional<std::string> statusDetail(const FaceState& state) {
  const bool isOfReview = showsReviewInStatus(state);
  std::vector<std::string> parts;
  const bool hasStatusDate = state.settingsStatusDate && !isOfReview;  // the counts are the review's
  if (const auto& date = hasStatusDate ? state.settingsStatusDate : state.libraryReviewCompletedAt) {
    parts.push_back(completionTime(isOfReview ? "Checked" : "Completed", *date));
  }
  if (isOfReview) {
    parts.push_back(verificationCounts(state.libraryReviews.front().counts));
  }
  if (state.settingsStatusDetail) {
    parts.push_back(printable(*state.settingsStatusDetail));
  }
  return parts.empty() ? std::nullopt : std::optional(joinedWithDots(parts));
}

StatusSection statusSection(const FaceState& state) {
  StatusSection section = {.header = "Status",
                           .symbol = state.settingsStatusSymbol,
                           .progress = std::nullopt,
                           .title = printable(state.statusMessage),
                           .detail = statusDetail(state),
                           .detailHelp = detailHelp(state),
                           .actions = statusActions(state),
                           .failure = std::nullopt};
  if (state.isSyncing) {
    section.symbol = std::nullopt;
    section.progress = progress(state.syncPhase);
  }
  if (state.lastError) {
    section.failure = failureOfFile(state.lastErrorFile, printable(*state.lastError));
  }
  return section;
}

std::vector<ReviewEntry> reviewEntries(const FaceState& state) {
  std::vector<ReviewEntry> entries;
  const bool areSeveral = state.libraryReviews.size() > 1;
  for (const ShownReview& review : state.libraryReviews) {
    ReviewEntry entry = entryOf(state, review, &review == &state.libraryReviews.front());
    if (entry == ReviewEntry{}) {
      continue;
    }
    if (areSeveral) {
      entry.camera = printable(review.cameraName);
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace tolvander::app
