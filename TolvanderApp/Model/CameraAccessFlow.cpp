#include "TolvanderApp/Model/CameraAccessFlow.h"

#include <algorithm>

#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Model/StatusPresentation.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Platform/Text.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::app {

namespace {

const FileURL volumesFolder("/Volumes");

// Empty for a volume without a UUID, and for one that can't be asked.
std::string uuidOf(const FileURL& volume) {
  try {
    return volumeResourceValues(volume).uuid.value_or("");
  } catch (const Error&) {
    return "";
  }
}

ConnectedDeviceSummary summary(const DetectedDevice& device) {
  return {.volumeURL = device.volumeURL,
          .displayName = device.displayName,
          .isCharmera = device.profile.kind == DeviceProfile::Kind::charmera};
}

}  // namespace

bool CameraAccessFlow::isStillMounted(const FileURL& url) const {
  return CameraVolumeDiscovery::isStillMounted(url, context_.platform.volumes);
}

std::vector<MountedVolume> CameraAccessFlow::mountedVolumes() {
  try {
    return CameraVolumeDiscovery::mountedVolumes(context_.platform.volumes);
  } catch (const Error&) {
    context_.show(std::current_exception());
    return {};
  }
}

void CameraAccessFlow::refreshMountedVolumes() { publishRemovableVolumes(mountedVolumes()); }

void CameraAccessFlow::publishRemovableVolumes(const std::vector<MountedVolume>& mounted) {
  std::vector<RemovableVolumeSummary> summaries;
  for (const auto& volume : mounted) {
    summaries.push_back({.volumeURL = volume.url, .displayName = CameraVolumeDiscovery::displayName(volume)});
  }
  std::ranges::stable_sort(summaries,
                           [](const RemovableVolumeSummary& left, const RemovableVolumeSummary& right) {
                             return standardCompare(left.displayName, right.displayName) < 0;
                           });
  fields_.availableRemovableVolumes = std::move(summaries);
}

// MARK: Finding cameras

Task<> CameraAccessFlow::discoverConnectedDevices() {
  const auto mounted = mountedVolumes();
  publishRemovableVolumes(mounted);
  const auto profiles = model_.settings().authorizedDeviceProfiles();
  if (profiles.empty()) {
    fields_.connectedDevices = {};
    if (!model_.isSyncing && !model_.lastError->has_value()) {
      fields_.statusMessage = model_.photosPermissionStatus != PhotosPermissionStatus::authorized
                                  ? "Photos access needed"
                                  : statusWithoutProfiles(!model_.availableRemovableVolumes->empty());
    }
    co_return;
  }
  std::vector<ConnectedDeviceSummary> devices;
  std::vector<std::exception_ptr> failures;
  for (const auto& volume : mounted) {
    try {
      auto detecting = detectConnectedCamera(volume.url, model_.settings().authorizedDeviceProfiles());
      const auto device = co_await detecting;
      if (device) {
        devices.push_back(summary(device->device));
      }
    } catch (const std::exception&) {
      failures.push_back(std::current_exception());
    }
  }
  const auto stillMounted = mountedVolumes();
  std::erase_if(devices, [&](const ConnectedDeviceSummary& device) {
    return !CameraVolumeDiscovery::contains(stillMounted, device.volumeURL);
  });
  fields_.connectedDevices = std::move(devices);
  for (const auto& failure : failures) {
    context_.show(failure);
  }
  if (!fields_.connectedDevices->empty() || model_.isSyncing || fields_.isEjecting ||
      model_.lastError->has_value()) {
    co_return;
  }
  if (model_.photosPermissionStatus != PhotosPermissionStatus::authorized) {
    fields_.statusMessage = "Photos access needed";
  } else if (!StatusPresentation::of(context_.statusState()).showsReceipt) {
    fields_.statusMessage = model_.idleStatus();
  }
}

Task<std::optional<FoundCamera>> CameraAccessFlow::detectConnectedCamera(
    FileURL volumeURL, std::vector<DeviceProfile> profiles) {
  auto authorized = context_.securityScopedAccess.authorizedProfiles(volumeURL, profiles);
  if (authorized.empty() || !isStillMounted(volumeURL)) {
    co_return std::nullopt;
  }
  auto detecting = background([volumeURL, authorized = std::move(authorized),
                               setAside = model_.settings().setAsideFiles()](const CancellationToken& token) {
    auto device = MountedVolumeMediaSource().detect(volumeURL, authorized, token);
    std::optional<FoundCamera> found;
    if (device) {
      found.emplace(FoundCamera{.device = *std::move(device), .setAside = {}});
      found->setAside =
          takeSetAside(found->device.files, setAside, setAside.empty() ? "" : uuidOf(volumeURL), token);
    }
    return found;
  });
  std::optional<FoundCamera> device;
  std::exception_ptr failure;
  try {
    device = co_await detecting;
  } catch (const std::exception&) {
    failure = std::current_exception();
  }
  if (!isStillMounted(volumeURL)) {
    if (failure) {
      throw CancellationError();  // what went wrong is that the camera is gone
    }
    co_return std::nullopt;
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
  co_return device;
}

void CameraAccessFlow::refreshSecurityScopedAccess() {
  context_.storeSettings([&] {
    for (const auto& renewed :
         context_.securityScopedAccess.refresh(model_.settings().authorizedDeviceProfiles())) {
      model_.settings().setSecurityScopedBookmark(renewed.bookmark, renewed.profileID);
    }
  });
}

// MARK: Adding a camera

Started<AddedCamera> CameraAccessFlow::addDevice(std::optional<FileURL> proposed,
                                                 AppModel::AfterAdding afterwards) {
  if (fields_.isRequestingCameraAccess || model_.isSyncing || fields_.isEjecting) {
    return std::nullopt;
  }
  const UUID requestID = requests_.begin();
  fields_.isRequestingCameraAccess = true;
  return context_.tasks.start(askForDevice(requestID, std::move(proposed), afterwards));
}

Task<AddedCamera> CameraAccessFlow::askForDevice(UUID requestID, std::optional<FileURL> proposed,
                                                 AppModel::AfterAdding afterwards) {
  auto panel = context_.platform.dialogs.chooseDirectory(
      {.title = "Choose Charmera Drive",
       .message = "Select your Charmera’s drive. Tolvander will remember it.",
       .prompt = "Use This Drive",
       .directory = volumesFolder,
       .proposed = std::move(proposed)});
  const auto chosen = co_await panel;
  fields_.isRequestingCameraAccess = false;
  requests_.complete(requestID);
  if (!chosen) {
    co_return AddedCamera{.outcome = {.end = FlowEnd::declined}};
  }
  if (const auto refusal = saveDevice(*chosen)) {
    context_.showFailure(*refusal);
    co_return AddedCamera{.outcome = {.end = FlowEnd::failed, .failure = model_.failure()}};
  }
  context_.clearFailureAndReceipt();
  refreshSecurityScopedAccess();
  AddedCamera added{.volume = *chosen};
  if (afterwards == AppModel::AfterAdding::sync) {
    auto following = useAddedDevice();
    added.sync = co_await following;
  }
  co_return added;
}

// Why the folder can't be a camera, in words for the user; absent when it was saved.
std::optional<std::string> CameraAccessFlow::saveDevice(const FileURL& chosen) {
  try {
    const auto volume = CameraVolumeDiscovery::containingVolume(
        chosen, CameraVolumeDiscovery::mountedURLs(context_.platform.volumes));
    if (!volume) {
      return "Please choose a mounted removable drive.";
    }
    if (volume->standardized() != chosen.standardized()) {
      return "Choose the drive itself rather than one of its folders.";
    }
    saveAccess(*volume, context_.platform.bookmarks.bookmarkData(chosen, {.withSecurityScope = true}));
    return std::nullopt;
  } catch (const Error& error) {
    return "Tolvander couldn’t remember that drive: " + failureText(error, context_.platform.systemNames);
  }
}

void CameraAccessFlow::saveAccess(const FileURL& volume, const AppSettings::Bookmark& bookmark) {
  if (MountedVolumeMediaSource::matches(volume, DeviceProfile::charmera())) {
    model_.settings().authorizeBuiltInProfile(DeviceProfile::charmeraProfileID, volume, bookmark);
    return;
  }
  auto profile = MountedVolumeMediaSource::customProfile(
      volume, CameraVolumeDiscovery::inferredMediaRoots(volume, &fileExists));
  profile.securityScopedBookmark = bookmark;
  model_.settings().addProfile(profile);
}

Task<SyncSummary> CameraAccessFlow::useAddedDevice() {
  auto devices = model_.refreshConnectedDevices();
  co_await devices;
  const bool hasLibrary = model_.photosPermissionStatus == PhotosPermissionStatus::authorized;
  fields_.statusMessage = hasLibrary ? "Ready to sync" : "Photos access needed";
  if (!hasLibrary || !model_.settings().onboardingCompleted()) {
    co_return SyncSummary();
  }
  auto sync = model_.syncAllConnected(false);
  co_return co_await sync;
}

// MARK: Forgetting a camera

Started<FlowOutcome> CameraAccessFlow::removeDevice(UUID grantID) {
  if (model_.isSyncing || fields_.isEjecting) {
    return std::nullopt;
  }
  const auto& grants = model_.settings().cameraGrants();
  const auto grant = std::ranges::find(grants, grantID, &CameraAccessGrant::id);
  if (grant == grants.end()) {
    return std::nullopt;
  }
  return context_.tasks.start(askToForget(*grant));
}

Task<FlowOutcome> CameraAccessFlow::askToForget(CameraAccessGrant grant) {
  auto question = context_.platform.dialogs.ask(
      {.style = Alert::Style::warning,
       .message = "Forget " + grant.name + "?",
       .informativeText = "This forgets the camera’s saved access. Its files and import history stay "
                          "unchanged. You can add the camera again later.",
       .buttons = {"Forget Camera", "Cancel"}});
  const auto answer = co_await question;
  if (answer != 0) {
    co_return FlowOutcome{.end = FlowEnd::declined};
  }
  if (model_.isSyncing || fields_.isEjecting) {  // the question may have been open for long
    co_return FlowOutcome{.end = FlowEnd::stopped};
  }
  context_.storeSettings([&] { model_.settings().removeProfile(grant.id); });
  if (model_.settings().authorizedDeviceProfiles().empty()) {
    context_.requireSetupAfterAccessLoss();
  }
  refreshSecurityScopedAccess();
  fields_.libraryReviews = {};
  auto devices = model_.refreshConnectedDevices();
  co_await devices;
  const bool isForgotten =
      std::ranges::count(model_.settings().cameraGrants(), grant.id, &CameraAccessGrant::id) == 0;
  co_return isForgotten ? FlowOutcome() : FlowOutcome{.end = FlowEnd::failed, .failure = model_.failure()};
}

}  // namespace tolvander::app
