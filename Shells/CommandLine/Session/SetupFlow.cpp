#include "Shells/CommandLine/Session/SetupFlow.h"

#include <algorithm>

#include "Shells/CommandLine/Reports/QuestionText.h"
#include "TolvanderApp/Concurrency/Callback.h"

namespace tolvander::shell {

using app::AppModel;
using app::PhotosPermissionStatus;
using app::Task;

std::optional<app::ConnectedDeviceSummary> connectedDevice(const AppModel& model, const FileURL& volume) {
  for (const app::ConnectedDeviceSummary& device : model.connectedDevices.value()) {
    if (device.volumeURL.resolvingSymlinks() == volume.resolvingSymlinks()) {
      return device;
    }
  }
  return std::nullopt;
}

bool isConnected(const AppModel& model, const FileURL& volume) {
  return connectedDevice(model, volume).has_value();
}

Task<> startUp(Session* session) {
  if (const auto start = session->model().start(AppModel::FirstSync::later)) {
    auto started = start->join();
    co_await started;
  }
}

namespace {

// Waits for the answer to a request for access.
Task<> requestAccess(Session* session) {
  AppModel& model = session->model();
  app::Subscription answers;
  auto answer = app::callback<void>([&](app::Callback<> answered) {
    answers = model.photosPermissionStatus.observe([answered](PhotosPermissionStatus) { answered(); });
    model.requestPhotosAccess();
  });
  co_await answer;
}

// Pictures are there, and no catalogue. Then there is nothing to be asked: the request for access fails, in
// the library's words.
bool isCatalogueLost(Session& session) {
  try {
    session.library().requireCatalogue();
    return false;
  } catch (const Error&) {
    return true;
  }
}

// Whether the settings or the history say that there was a library already. Throws SyncHistoryError.
bool isLibraryKnown(Session& session) {
  const app::AppSettings& settings = session.model().settings();
  if (session.wasSetUp() || settings.lastSyncReceipt()) {
    return true;
  }
  const ImportRecords records = session.history().records();
  return !session.history().pendingImportSources().empty() ||
         std::ranges::any_of(
             records, [](const ImportRecord& record) { return record.photosAssetIdentifier.has_value(); });
}

Task<bool> askForLibrary(Session* session, bool agrees) {
  const FileURL& folder = session->files().library;
  auto asking = isLibraryKnown(*session)
                    ? session->dialogs().ask(app::replacedLibraryQuestion(folder), false, "")
                    : session->dialogs().ask(app::libraryQuestion(folder), agrees, "--yes");
  const std::size_t answer = co_await asking;
  co_return answer == 0;
}

}  // namespace

Task<bool> prepareLibrary(Session* session, bool agrees) {
  AppModel& model = session->model();
  if (model.photosPermissionStatus == PhotosPermissionStatus::notDetermined) {
    bool isRequested = isCatalogueLost(*session);
    if (!isRequested) {
      auto asking = askForLibrary(session, agrees);
      isRequested = co_await asking;
    }
    if (isRequested) {
      auto requesting = requestAccess(session);
      co_await requesting;
    }
  }
  co_return model.photosPermissionStatus == PhotosPermissionStatus::authorized;
}

Task<bool> addCamera(Session* session, FileURL volume) {
  AppModel& model = session->model();
  const auto before = model.settings().cameraGrants();
  session->dialogs().offerFolder(volume);
  model.addDevice();
  auto closing = session->until([&model] { return !model.isRequestingCameraAccess; });
  co_await closing;
  auto beginning = session->untilBegun();
  co_await beginning;
  auto ending = session->until([&model] { return !model.isRefreshingDevices && model.isIdle(); });
  co_await ending;
  co_return model.settings().cameraGrants() != before;
}

Task<> completeSetup(Session* session) {
  AppModel& model = session->model();
  model.completeOnboardingAndSync();
  auto beginning = session->untilBegun();
  co_await beginning;
  auto ending = session->until([&model] { return model.isIdle(); });
  co_await ending;
}

}  // namespace tolvander::shell
