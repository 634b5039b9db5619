#include "Shells/CommandLine/Session/SetupFlow.h"

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

Task<bool> prepareLibrary(AppModel* model) {
  if (model->photosPermissionStatus == PhotosPermissionStatus::notDetermined) {
    auto answer = model->requestPhotosAccess().value();
    co_await answer;
  }
  co_return model->photosPermissionStatus == PhotosPermissionStatus::authorized;
}

}  // namespace tolvander::shell
