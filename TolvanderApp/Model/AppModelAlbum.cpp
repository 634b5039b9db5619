#include <algorithm>

#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

constexpr std::string_view suggestedName = "Charmera";

std::string trimmed(const std::string& text) { return std::string(trimmingWhitespaceAndNewlines(text)); }

}  // namespace

Started<AlbumResult> AppModel::startAlbumUpdate(std::string message, Task<AlbumResult> update) {
  auto started = gate_.start(runAlbumUpdate(std::move(update)));
  isUpdatingAlbum = true;
  statusMessage = std::move(message);
  return started;
}

Task<AlbumResult> AppModel::runAlbumUpdate(Task<AlbumResult> update) {
  auto attempt = gate_.attempt(std::move(update), "Album update stopped");
  Attempt<AlbumResult> ended = co_await attempt;
  if (lastError->has_value()) {
    statusMessage = "Album update needs attention";
  }
  isUpdatingAlbum = false;
  co_return std::move(ended).merged();
}

void AppModel::showAlbumReceipt(std::string message) {
  if (!lastError->has_value()) {
    showReceipt({.message = std::move(message),
                 .completedAt = platform_.mainThread.wallNow(),
                 .metadataSkippedCount = 0,
                 .metadataSkippedFiles = {},
                 .minimumDisplayDuration = StatusReceipt::whileMounted,
                 .id = UUID::random()});
  }
}

Task<bool> AppModel::askToBackfill(std::string albumName) {
  auto question =
      platform_.dialogs.ask({.style = Alert::Style::informational,
                             .message = "Add previously synced items to " + albumName + "?",
                             .informativeText = "Adds existing Photos items without importing duplicates.",
                             .buttons = {"Add Items", "Not Now"}});
  const auto answer = co_await question;
  co_return answer == 0;
}

// MARK: Another album

Started<AlbumResult> AppModel::selectAlbum(std::string name) {
  const std::string chosen = trimmed(name);
  const std::string before = trimmed(settings().albumName());
  if (!canStartFlow() || chosen.empty() || chosen == before) {
    return std::nullopt;
  }
  storeSettings([&] { settings().setAlbumName(chosen); });
  const bool isStored = settings().albumName() == chosen;
  if (!isStored || !settings().addToAlbum()) {
    return std::nullopt;
  }
  return startAlbumUpdate("Linking album…", linkAlbum(chosen, before));
}

Task<AlbumResult> AppModel::linkAlbum(std::string album, std::string before) {
  auto asking = askToBackfill(album);
  const bool backfill = co_await asking;
  if (!backfill) {
    showAlbumReceipt("Album linked");
    co_return AlbumResult();
  }
  auto updating = updateAlbumUnlessStopped(before.empty() ? std::nullopt : std::optional(before), album);
  co_return co_await updating;
}

// MARK: Filling an album

Started<AlbumResult> AppModel::addRecordedAssets(std::optional<std::string> fromAlbum, std::string toAlbum) {
  if (!canStartFlow()) {
    return std::nullopt;
  }
  return startAlbumUpdate("Updating album…",
                          updateAlbumUnlessStopped(std::move(fromAlbum), std::move(toAlbum)));
}

Task<AlbumResult> AppModel::updateAlbumUnlessStopped(std::optional<std::string> fromAlbum,
                                                     std::string toAlbum) {
  if (gate_.isStopRequested()) {
    throw CancellationError();
  }
  auto updating = performRecordedAlbumUpdate(std::move(fromAlbum), std::move(toAlbum));
  co_return co_await updating;
}

// With a source album only what is in it goes over: a change of album carries over what the old one held.
Task<AlbumResult> AppModel::performRecordedAlbumUpdate(std::optional<std::string> fromAlbum,
                                                       std::string toAlbum) {
  statusMessage = "Updating album…";
  auto adding = background([history = services_.history, photos = photos_, fromAlbum = std::move(fromAlbum),
                            toAlbum = std::move(toAlbum)](const CancellationToken& token) {
    std::vector<std::string> identifiers;
    for (const auto& record : history->records()) {
      if (record.photosAssetIdentifier) {
        identifiers.push_back(*record.photosAssetIdentifier);
      }
    }
    if (fromAlbum && !fromAlbum->empty()) {
      const auto members = photos->assetIdentifiers(*fromAlbum);
      std::erase_if(identifiers,
                    [&](const std::string& identifier) { return !members.contains(identifier); });
    }
    return photos->addAssets(identifiers, toAlbum, token);
  });
  const std::int64_t added = co_await adding;
  record(DiagnosticLog::Event::albumUpdated, {{"added", added}});
  showAlbumReceipt(StatusReceipt::albumMessage(added));
  auto albumNames = refreshAlbumNames();
  co_await albumNames;
  co_return AlbumResult{.addedCount = added};
}

// MARK: A new album

std::string AppModel::suggestedAlbumName() const {
  std::set<std::string> taken;
  for (const auto& name : availableAlbumNames.value()) {
    taken.insert(lowercased(name));
  }
  std::string name(suggestedName);
  for (int number = 2; taken.contains(lowercased(name)); ++number) {
    name = std::string(suggestedName) + " " + std::to_string(number);
  }
  return name;
}

Started<AlbumResult> AppModel::presentCreateAlbum() {
  if (!canStartFlow()) {
    return std::nullopt;
  }
  return startAlbumUpdate("Creating album…", askForAlbum());
}

Task<AlbumResult> AppModel::askForAlbum() {
  auto prompt = platform_.dialogs.askForText({.alert = {.style = Alert::Style::informational,
                                                        .message = "Create a Photos album",
                                                        .informativeText = "Enter a name for the new album.",
                                                        .buttons = {"Create Album", "Cancel"}},
                                              .placeholder = "Album name",
                                              .text = suggestedAlbumName()});
  const auto answer = co_await prompt;
  const std::string name = trimmed(answer.value_or(""));
  if (name.empty() || gate_.isStopRequested()) {
    statusMessage = idleStatus();
    co_return AlbumResult{.outcome = {.end = FlowEnd::declined}};
  }
  auto creating = createAlbum(name);
  co_return co_await creating;
}

Task<AlbumResult> AppModel::createAlbum(std::string name) {
  const bool isTaken = std::ranges::any_of(availableAlbumNames.value(), [&](const std::string& existing) {
    return equalIgnoringCase(existing, name);
  });
  if (isTaken) {
    showFailure("An album named “" + name + "” already exists. Choose it from the menu instead.");
    co_return AlbumResult();
  }
  const std::string before = trimmed(settings().albumName());
  const bool movesOver = std::ranges::count(availableAlbumNames.value(), before) > 0;
  auto creating = background(
      [photos = photos_, name](const CancellationToken& token) { photos->createAlbum(name, token); });
  co_await creating;
  settings().setAlbumName(name);
  settings().setAddToAlbum(true);
  auto asking = askToBackfill(name);
  const bool backfill = co_await asking;
  AlbumResult result;
  if (backfill) {
    auto updating = performRecordedAlbumUpdate(movesOver ? std::optional(before) : std::nullopt, name);
    result = co_await updating;
  }
  showAlbumReceipt("Album created");
  auto albumNames = refreshAlbumNames();
  co_await albumNames;
  co_return result;
}

}  // namespace tolvander::app
