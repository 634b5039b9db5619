#include "TolvanderApp/Model/Refreshes.h"

#include <algorithm>
#include <map>
#include <utility>

#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

// One line for each device, by its identifier or, where a record has none, by its volume's name.
std::vector<DeviceTrashSummary> trashSummaries(const std::vector<ManagedTrashRecord>& records) {
  std::map<std::string, DeviceTrashSummary> groups;
  for (const auto& record : records) {
    const std::string id = record.deviceIdentifier.value_or(record.volumeName);
    auto& group =
        groups.try_emplace(id, DeviceTrashSummary{.id = id, .displayName = record.volumeName, .count = 0})
            .first->second;
    ++group.count;
  }
  std::vector<DeviceTrashSummary> summaries;
  for (auto& [id, summary] : groups) {
    summaries.push_back(std::move(summary));
  }
  std::ranges::stable_sort(summaries, [](const DeviceTrashSummary& left, const DeviceTrashSummary& right) {
    return standardCompare(left.displayName, right.displayName) < 0;
  });
  return summaries;
}

}  // namespace

Task<> Refreshes::refreshConnectedDevices() {
  if (deviceRefreshTask_) {
    auto joined = deviceRefreshTask_->join();
    co_await joined;
    co_return;
  }
  fields_.isRefreshingDevices = true;
  deviceRefreshTask_ = context_.tasks.start(access_.discoverConnectedDevices());
  auto joined = deviceRefreshTask_->join();
  co_await joined;
  deviceRefreshTask_.reset();
  fields_.isRefreshingDevices = false;
}

Task<> Refreshes::refreshTrashCount() {
  if (model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    fields_.deviceTrashSummaries = {};
    co_return;
  }
  access_.refreshSecurityScopedAccess();
  std::exception_ptr failure;
  try {
    auto reading = background([history = context_.services.history] { return history->trashRecords(); });
    auto records = co_await reading;
    auto checking =
        background([trash = context_.trash, authorized = cleanup_.authorizedTrashRecords(records)] {
          return trash.availableRecords(authorized);
        });
    const auto available = co_await checking;
    fields_.deviceTrashSummaries = trashSummaries(available);
  } catch (const Error&) {
    failure = std::current_exception();
  }
  if (failure) {
    context_.show(failure);
  }
}

// A library that can't be read just now has no say: the names that are known stay.
Task<> Refreshes::refreshAlbumNames() {
  if (model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    fields_.availableAlbumNames = {};
    co_return;
  }
  auto reading = background([photos = context_.photos] { return photos->albumNames(); });
  try {
    fields_.availableAlbumNames = co_await reading;
  } catch (const Error&) {
  }
}

Task<> Refreshes::refreshPhotoHistoryCount() {
  auto reading = background([history = context_.services.history] { return history->historySummary(); });
  std::optional<ImportHistorySummary> summary;
  try {
    summary = co_await reading;
  } catch (const Error&) {
  }
  fields_.collectedPhotoCount = summary ? std::optional(summary->uniquePhotoCount) : std::nullopt;
  fields_.collectedVideoCount = summary ? std::optional(summary->uniqueVideoCount) : std::nullopt;
}

}  // namespace tolvander::app
