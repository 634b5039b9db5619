#include "TolvanderApp/Model/AlbumFlow.h"

#include <algorithm>

#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

constexpr std::string_view suggestedName = "Charmera";

std::string trimmed(const std::string& text) { return std::string(trimmingWhitespaceAndNewlines(text)); }

}  // namespace

Started<AlbumResult> AlbumFlow::startAlbumUpdate(std::string message, Task<AlbumResult> update) {
  auto started = context_.gate.start(runAlbumUpdate(std::move(update)));
  fields_.isUpdatingAlbum = true;
  fields_.statusMessage = std::move(message);
  return started;
}

Task<AlbumResult> AlbumFlow::runAlbumUpdate(Task<AlbumResult> update) {
  auto attempt = context_.gate.attempt(std::move(update), "Album update stopped");
  Attempt<AlbumResult> ended = co_await attempt;
  if (model_.lastError->has_value()) {
    fields_.statusMessage = "Album update needs attention";
  }
  fields_.isUpdatingAlbum = false;
  co_return std::move(ended).merged();
}

void AlbumFlow::showAlbumReceipt(std::string message) {
  if (!model_.lastError->has_value()) {
    context_.showReceipt({.message = std::move(message),
                          .completedAt = context_.platform.mainThread.wallNow(),
                          .metadataSkippedCount = 0,
                          .metadataSkippedFiles = {},
                          .minimumDisplayDuration = StatusReceipt::whileMounted,
                          .id = UUID::random()});
  }
}

Task<bool> AlbumFlow::askToBackfill(std::string albumName) {
  auto question = context_.platform.dialogs.ask(
      {.style = Alert::Style::informational,
       .message = "Add previously synced items to " + albumName + "?",
       .informativeText = "Adds existing Photos items without importing duplicates.",
       .buttons = {"Add Items", "Not Now"}});
  const auto answer = co_await question;
  co_return answer == 0;
}

// MARK: Another album

Started<AlbumResult> AlbumFlow::selectAlbum(std::string name) {
  const std::string chosen = trimmed(name);
  const std::string before = trimmed(model_.settings().albumName());
  if (!model_.canStartFlow() || chosen.empty() || chosen == before) {
    return std::nullopt;
  }
  context_.storeSettings([&] { model_.settings().setAlbumName(chosen); });
  const bool isStored = model_.settings().albumName() == chosen;
  if (!isStored || !model_.settings().addToAlbum()) {
    return std::nullopt;
  }
  return startAlbumUpdate("Linking album…", linkAlbum(chosen, before));
}

Task<AlbumResult> AlbumFlow::linkAlbum(std::string album, std::string before) {
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

Started<AlbumResult> AlbumFlow::addRecordedAssets(std::optional<std::string> fromAlbum, std::string toAlbum) {
  if (!model_.canStartFlow()) {
    return std::nullopt;
  }
  return startAlbumUpdate("Updating album…",
                          updateAlbumUnlessStopped(std::move(fromAlbum), std::move(toAlbum)));
}

Task<AlbumResult> AlbumFlow::updateAlbumUnlessStopped(std::optional<std::string> fromAlbum,
                                                      std::string toAlbum) {
  if (context_.gate.isStopRequested()) {
    throw CancellationError();
  }
  auto updating = performRecordedAlbumUpdate(std::move(fromAlbum), std::move(toAlbum));
  co_return co_await updating;
}

// With a source album only what is in it goes over: a change of album carries over what the old one held.
Task<AlbumResult> AlbumFlow::performRecordedAlbumUpdate(std::optional<std::string> fromAlbum,
                                                        std::string toAlbum) {
  fields_.statusMessage = "Updating album…";
  auto adding = background([history = context_.services.history, photos = context_.photos,
                            fromAlbum = std::move(fromAlbum),
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
  context_.record(DiagnosticLog::Event::albumUpdated, {{"added", added}});
  showAlbumReceipt(StatusReceipt::albumMessage(added));
  auto albumNames = model_.refreshAlbumNames();
  co_await albumNames;
  co_return AlbumResult{.addedCount = added};
}

// MARK: A new album

std::string AlbumFlow::suggestedAlbumName() const {
  std::set<std::string> taken;
  for (const auto& name : model_.availableAlbumNames.value()) {
    taken.insert(lowercased(name));
  }
  std::string name(suggestedName);
  for (int number = 2; taken.contains(lowercased(name)); ++number) {
    name = std::string(suggestedName) + " " + std::to_string(number);
  }
  return name;
}

Started<AlbumResult> AlbumFlow::presentCreateAlbum() {
  if (!model_.canStartFlow()) {
    return std::nullopt;
  }
  return startAlbumUpdate("Creating album…", askForAlbum());
}

Task<AlbumResult> AlbumFlow::askForAlbum() {
  auto prompt =
      context_.platform.dialogs.askForText({.alert = {.style = Alert::Style::informational,
                                                      .message = "Create a Photos album",
                                                      .informativeText = "Enter a name for the new album.",
                                                      .buttons = {"Create Album", "Cancel"}},
                                            .placeholder = "Album name",
                                            .text = suggestedAlbumName()});
  const auto answer = co_await prompt;
  const std::string name = trimmed(answer.value_or(""));
  if (name.empty() || context_.gate.isStopRequested()) {
    fields_.statusMessage = model_.idleStatus();
    co_return AlbumResult{.outcome = {.end = FlowEnd::declined}};
  }
  auto creating = createAlbum(name);
  co_return co_await creating;
}

Task<AlbumResult> AlbumFlow::createAlbum(std::string name) {
  const bool isTaken =
      std::ranges::any_of(model_.availableAlbumNames.value(),
                          [&](const std::string& existing) { return equalIgnoringCase(existing, name); });
  if (isTaken) {
    context_.showFailure("An album named “" + name + "” already exists. Choose it from the menu instead.");
    co_return AlbumResult();
  }
  const std::string before = trimmed(model_.settings().albumName());
  const bool movesOver = std::ranges::count(model_.availableAlbumNames.value(), before) > 0;
  auto creating = background(
      [photos = context_.photos, name](const CancellationToken& token) { photos->createAlbum(name, token); });
  co_await creating;
  model_.settings().setAlbumName(name);
  model_.settings().setAddToAlbum(true);
  auto asking = askToBackfill(name);
  const bool backfill = co_await asking;
  AlbumResult result;
  if (backfill) {
    auto updating = performRecordedAlbumUpdate(movesOver ? std::optional(before) : std::nullopt, name);
    result = co_await updating;
  }
  showAlbumReceipt("Album created");
  auto albumNames = model_.refreshAlbumNames();
  co_await albumNames;
  co_return result;
}

}  // namespace tolvander::app
