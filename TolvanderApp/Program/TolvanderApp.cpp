#include "TolvanderApp/TolvanderApp.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <variant>

#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/FaceAssembly.h"
#include "TolvanderApp/Program/ModelActions.h"
#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

namespace {

constexpr std::string_view backgroundArgument = "--background";
constexpr std::string_view uninstallArgument = "--prepare-uninstall";

// The window opens once the status item has found its place.
constexpr std::chrono::milliseconds openingDelay(250);

}  // namespace

TolvanderApp::TolvanderApp(const Platform& platform, Screen screen, std::shared_ptr<AppModel> model,
                           std::shared_ptr<DiagnosticLog> log, std::string supportAddress)
    : platform_(platform),
      screen_(std::move(screen)),
      model_(std::move(model)),
      log_(std::move(log)),
      supportAddress_(std::move(supportAddress)),
      activation_([this](ActivationPolicy policy) { return applyPolicy(policy); }),
      bugReport_({.mainThread = platform.mainThread,
                  .application = platform.application,
                  .panels = screen_.panels,
                  .fileViewer = screen_.fileViewer,
                  .clipboard = screen_.clipboard},
                 log_, supportAddress_),
      tasks_(platform.mainThread) {}

// MARK: Launch and end

bool TolvanderApp::startsInBackground() const {
  const auto arguments = platform_.application.arguments();
  return std::ranges::any_of(arguments, [](const std::string& argument) {
    return argument == backgroundArgument || argument == uninstallArgument;
  });
}

bool TolvanderApp::applyPolicy(ActivationPolicy policy) {
  return platform_.application.activationPolicy() != policy &&
         platform_.application.setActivationPolicy(policy);
}

void TolvanderApp::willFinishLaunching() { activation_.willFinishLaunching(startsInBackground()); }

std::optional<TaskHandle> TolvanderApp::didFinishLaunching() {
  platform_.application.terminateOtherRunningCopies();
  installUpdater();
  installStatusItem();
  model_->start();
  if (startsInBackground()) {
    return std::nullopt;
  }
  return tasks_.start(openSettingsAfterLaunch());
}

void TolvanderApp::installUpdater() {
  updater_ = screen_.makeUpdater(*this);
  if (updater_ && updater_->automaticallyChecksForUpdates()) {
    updater_->checkForUpdatesInBackground();
  }
}

void TolvanderApp::installStatusItem() {
  redraw();
  modelObservation_ = model_->changes.observe([this] { redraw(); });
  settingsObservation_ = model_->settings().observe([this] { redraw(); });
}

Task<> TolvanderApp::openSettingsAfterLaunch() {
  auto waiting = sleepOrCancellation(openingDelay);
  co_await waiting;
  openSettings();
}

void TolvanderApp::handleReopen(bool hasVisibleWindows) {
  if (!hasVisibleWindows) {
    openSettings();
  }
}

void TolvanderApp::didBecomeActive() {
  const bool refocuses = std::exchange(refocusSettingsOnActivation_, false);
  if (refocuses && window_->isVisible() && !window_->isMiniaturized()) {
    window_->makeKeyAndOrderFront();
  }
  recordPresentation(Phase::becameActive);
}

void TolvanderApp::didResignActive() { recordPresentation(Phase::resignedActive); }

void TolvanderApp::willTerminate() {
  if (std::exchange(hasEnded_, true)) {
    return;
  }
  model_->markSetupExited();
  log_->record(DiagnosticLog::Event::appTerminated);
  try {
    log_->files();  // waits until everything is written
  } catch (const Error&) {
    // A log that can't be kept doesn't hold up the end.
  }
}

bool TolvanderApp::presentsNotificationsInFront() const { return model_->settings().onboardingCompleted(); }

// MARK: The window

void TolvanderApp::openSettings() {
  const UUID generation = activation_.windowWillOpen();
  const bool isNew = !window_;
  if (isNew) {
    window_ = screen_.makeSettingsWindow();
    window_->show(SettingsContents::of(faceState()));
    model_->lookAgain();
    tasks_.start(model_->refreshPhotoHistoryCount());
  }
  window_->setTitle("Tolvander");
  window_->setHidesOnDeactivate(false);
  model_->setSettingsWindowOpen(true);
  closeObservation_ =
      window_->observeWillClose([this, generation] { tasks_.start(handleClosedSettings(generation)); });
  refocusSettingsOnActivation_ = !platform_.application.isActive();
  window_->makeKeyAndOrderFront();
  window_->orderFrontRegardless();
  platform_.application.activate();
  recordPresentation(Phase::opened);
  window_->clearKeyboardFocus();
  if (isNew) {
    window_->fitToContents();
  }
}

// Runs in a later turn of the main thread: the window is closed by then, or opened again.
Task<> TolvanderApp::handleClosedSettings(UUID generation) {
  if (window_->isVisible() || window_->isMiniaturized()) {
    co_return;
  }
  model_->markSetupExited();
  model_->setSettingsWindowOpen(false);
  activation_.windowDidClose(generation);
}

void TolvanderApp::recordPresentation(Phase phase) {
  if (!window_) {
    return;
  }
  const PresentationState state = platform_.application.presentationState(window_.get());
  log_->record(DiagnosticLog::Event::windowPresentationChanged,
               {{"phase", static_cast<std::int64_t>(phase)},
                {"app_active", state.appActive},
                {"app_hidden", state.appHidden},
                {"window_visible", state.windowVisible},
                {"window_key", state.windowKey},
                {"window_main", state.windowMain},
                {"activation_policy", state.activationPolicy},
                {"workspace_frontmost", state.workspaceFrontmost}});
}

// MARK: The status item

FaceState TolvanderApp::faceState() const {
  return faceStateOf(*model_, {.updateReminder = updateReminder_,
                               .version = platform_.applicationVersion,
                               .names = platform_.systemNames,
                               .supportAddress = supportAddress_,
                               .now = platform_.mainThread.wallNow(),
                               .zone = TimeZone::current()});
}

void TolvanderApp::redraw() {
  const FaceState state = faceState();
  screen_.statusItem.showIcon(StatusIcon::of(state));
  if (MenuContents::of(state) != menu_) {  // an open menu loses the highlighted item when it is replaced
    redrawMenu(state);
  }
  if (window_) {
    window_->show(SettingsContents::of(state));
  }
}

void TolvanderApp::redrawMenu(const FaceState& state) {
  menu_ = MenuContents::of(state);
  screen_.statusItem.showMenu(menu_);
}

void TolvanderApp::menuNeedsUpdate() { redrawMenu(faceState()); }

void TolvanderApp::menuWillOpen() { model_->setStatusMenuOpen(true); }

void TolvanderApp::menuDidClose() { model_->setStatusMenuOpen(false); }

void TolvanderApp::perform(const FaceAction& action) {
  switch (action.kind) {
    case FaceAction::Kind::openSettings:
      return openSettings();
    case FaceAction::Kind::quit:
      return platform_.application.terminate();
    case FaceAction::Kind::showAvailableUpdate:
      return showAvailableUpdate();
    case FaceAction::Kind::reportBug:
      return bugReport_.show();
    case FaceAction::Kind::ejectDevice:
      return ejectDevice(std::get<ConnectedDeviceSummary>(action.argument));
    default:
      return performOnModel(*model_, action);
  }
}

void TolvanderApp::ejectDevice(const ConnectedDeviceSummary& device) {
  if (std::ranges::count(menu_.menuDevices, device) > 0) {
    model_->ejectDevice(device);
  }
}

// MARK: Updates

void TolvanderApp::showAvailableUpdate() {
  if (updateReminder_.version && updater_ && !model_->isSyncing && !model_->isEjecting) {
    updater_->checkForUpdates();
  }
}

void TolvanderApp::publishUpdate() {
  model_->setAvailableUpdateVersion(updateReminder_.version);
  redraw();
}

void TolvanderApp::willHandleShowingUpdate(std::string version, bool isUserInitiated) {
  updateReminder_.willShowUpdate(std::move(version), isUserInitiated);
  publishUpdate();
}

void TolvanderApp::didReceiveUserAttention() {
  updateReminder_.didReceiveUserAttention();
  publishUpdate();
}

void TolvanderApp::willFinishUpdateSession() {
  updateReminder_.willFinishSession();
  publishUpdate();
}

bool TolvanderApp::shouldPostponeRelaunch(std::function<void()> relaunch) {
  if (model_->isIdle()) {
    return false;
  }
  tasks_.start(relaunchWhenIdle(model_, std::move(relaunch)));
  return true;
}

Task<> TolvanderApp::relaunchWhenIdle(std::shared_ptr<AppModel> model, std::function<void()> relaunch) {
  auto idling = model->untilIdle();
  co_await idling;
  relaunch();
}

}  // namespace tolvander::app
