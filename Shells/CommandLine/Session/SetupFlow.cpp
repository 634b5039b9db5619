#include "Shells/CommandLine/Session/SetupFlow.h"

#include <algorithm>

#include "Shells/CommandLine/Reports/QuestionText.h"

namespace tolvander::shell {

using app::AppModel;
using app::PhotosPermissionStatus;
using app::Task;

Task<> startUp(Session* session) {
  if (const auto start = session->model().start(AppModel::FirstSync::later)) {
    auto started = start->join();
    co_await started;
  }
}

namespace {

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
      auto answer = model.requestPhotosAccess().value();
      co_await answer;
    }
  }
  co_return model.photosPermissionStatus == PhotosPermissionStatus::authorized;
}

}  // namespace tolvander::shell
