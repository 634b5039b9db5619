#include <algorithm>

#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Platform/FileSystem.h"
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

bool AppModel::isStillMounted(const FileURL& url) const {
  return CameraVolumeDiscovery::isStillMounted(url, platform_.volumes);
}

std::vector<MountedVolume> AppModel::mountedVolumes() {
  try {
    return CameraVolumeDiscovery::mountedVolumes(platform_.volumes);
  } catch (const Error&) {
    show(std::current_exception());
    return {};
  }
}

// MARK: Finding cameras

Task<> AppModel::discoverConnectedDevices() {
  const auto mounted = mountedVolumes();
  publishRemovableVolumes(mounted);
  const auto profiles = settings().authorizedDeviceProfiles();
  if (profiles.empty()) {
    connectedDevices = {};
    if (!isSyncing && !lastError->has_value()) {
      statusMessage = photosPermissionStatus != PhotosPermissionStatus::authorized ? "Photos access needed"
                                                                                   : statusWithoutProfiles();
    }
    co_return;
  }
  std::vector<ConnectedDeviceSummary> devices;
  std::vector<std::exception_ptr> failures;
  for (const auto& volume : mounted) {
    try {
      auto detecting = detectConnectedCamera(volume.url, settings().authorizedDeviceProfiles());
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
  connectedDevices = std::move(devices);
  for (const auto& failure : failures) {
    show(failure);
  }
  if (!connectedDevices->empty() || isSyncing || isEjecting || lastError->has_value()) {
    co_return;
  }
  if (photosPermissionStatus != PhotosPermissionStatus::authorized) {
    statusMessage = "Photos access needed";
  } else if (!settingsStatusDate() && !showsReceiptMessage()) {
    // "Camera up to date" on show has a date only while its camera is connected.
    statusMessage = idleStatus();
  }
}

Task<std::optional<AppModel::FoundCamera>> AppModel::detectConnectedCamera(
    FileURL volumeURL, std::vector<DeviceProfile> profiles) {
  auto authorized = securityScopedAccess_.authorizedProfiles(volumeURL, profiles);
  if (authorized.empty() || !isStillMounted(volumeURL)) {
    co_return std::nullopt;
  }
  auto detecting = background([volumeURL, authorized = std::move(authorized),
                               setAside = settings().setAsideFiles()](const CancellationToken& token) {
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

void AppModel::refreshSecurityScopedAccess() {
  storeSettings([&] {
    for (const auto& renewed : securityScopedAccess_.refresh(settings().authorizedDeviceProfiles())) {
      settings().setSecurityScopedBookmark(renewed.bookmark, renewed.profileID);
    }
  });
}

// MARK: Adding a camera

Started<AddedCamera> AppModel::addDevice(std::optional<FileURL> proposed, AfterAdding afterwards) {
  if (isRequestingCameraAccess || isSyncing || isEjecting) {
    return std::nullopt;
  }
  isRequestingCameraAccess = true;
  return tasks_.start(askForDevice(std::move(proposed), afterwards));
}

Task<AddedCamera> AppModel::askForDevice(std::optional<FileURL> proposed, AfterAdding afterwards) {
  auto panel = platform_.dialogs.chooseDirectory(
      {.title = "Choose Charmera Drive",
       .message = "Select your Charmera’s drive. Tolvander will remember it.",
       .prompt = "Use This Drive",
       .directory = volumesFolder,
       .proposed = std::move(proposed)});
  const auto chosen = co_await panel;
  isRequestingCameraAccess = false;
  if (!chosen) {
    co_return AddedCamera{.outcome = {.end = FlowEnd::declined}};
  }
  if (const auto refusal = saveDevice(*chosen)) {
    showFailure(*refusal);
    co_return AddedCamera{.outcome = {.end = FlowEnd::failed, .failure = failure()}};
  }
  clearFailureAndReceipt();
  refreshSecurityScopedAccess();
  AddedCamera added{.volume = *chosen};
  if (afterwards == AfterAdding::sync) {
    auto following = useAddedDevice();
    added.sync = co_await following;
  }
  co_return added;
}

// Why the folder can't be a camera, in words for the user; absent when it was saved.
std::optional<std::string> AppModel::saveDevice(const FileURL& chosen) {
  try {
    const auto volume = CameraVolumeDiscovery::containingVolume(
        chosen, CameraVolumeDiscovery::mountedURLs(platform_.volumes));
    if (!volume) {
      return "Please choose a mounted removable drive.";
    }
    if (volume->standardized() != chosen.standardized()) {
      return "Choose the drive itself rather than one of its folders.";
    }
    saveAccess(*volume, platform_.bookmarks.bookmarkData(chosen, {.withSecurityScope = true}));
    return std::nullopt;
  } catch (const Error& error) {
    return "Tolvander couldn’t remember that drive: " + failureText(error);
  }
}

void AppModel::saveAccess(const FileURL& volume, const AppSettings::Bookmark& bookmark) {
  if (MountedVolumeMediaSource::matches(volume, DeviceProfile::charmera())) {
    settings().authorizeBuiltInProfile(DeviceProfile::charmeraProfileID, volume, bookmark);
    return;
  }
  auto profile = MountedVolumeMediaSource::customProfile(
      volume, CameraVolumeDiscovery::inferredMediaRoots(volume, &fileExists));
  profile.securityScopedBookmark = bookmark;
  settings().addProfile(profile);
}

Task<SyncSummary> AppModel::useAddedDevice() {
  auto devices = refreshConnectedDevices();
  co_await devices;
  const bool hasLibrary = photosPermissionStatus == PhotosPermissionStatus::authorized;
  statusMessage = hasLibrary ? "Ready to sync" : "Photos access needed";
  if (!hasLibrary || !settings().onboardingCompleted()) {
    co_return SyncSummary();
  }
  auto sync = syncAllConnected(false);
  co_return co_await sync;
}

// MARK: Forgetting a camera

Started<FlowOutcome> AppModel::removeDevice(UUID grantID) {
  if (isSyncing || isEjecting) {
    return std::nullopt;
  }
  const auto& grants = settings().cameraGrants();
  const auto grant = std::ranges::find(grants, grantID, &CameraAccessGrant::id);
  if (grant == grants.end()) {
    return std::nullopt;
  }
  return tasks_.start(askToForget(*grant));
}

Task<FlowOutcome> AppModel::askToForget(CameraAccessGrant grant) {
  auto question = platform_.dialogs.ask(
      {.style = Alert::Style::warning,
       .message = "Forget " + grant.name + "?",
       .informativeText = "This forgets the camera’s saved access. Its files and import history stay "
                          "unchanged. You can add the camera again later.",
       .buttons = {"Forget Camera", "Cancel"}});
  const auto answer = co_await question;
  if (answer != 0) {
    co_return FlowOutcome{.end = FlowEnd::declined};
  }
  if (isSyncing || isEjecting) {  // the question may have been open for long
    co_return FlowOutcome{.end = FlowEnd::stopped};
  }
  storeSettings([&] { settings().removeProfile(grant.id); });
  if (settings().authorizedDeviceProfiles().empty()) {
    requireSetupAfterAccessLoss();
  }
  refreshSecurityScopedAccess();
  libraryReviews = {};
  auto devices = refreshConnectedDevices();
  co_await devices;
  const bool isForgotten =
      std::ranges::count(settings().cameraGrants(), grant.id, &CameraAccessGrant::id) == 0;
  co_return isForgotten ? FlowOutcome() : FlowOutcome{.end = FlowEnd::failed, .failure = failure()};
}

}  // namespace tolvander::app
