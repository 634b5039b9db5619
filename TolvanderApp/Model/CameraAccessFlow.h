#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderApp/Model/PermissionRequests.h"
#include "TolvanderCore/DetectedDevice.h"

namespace tolvander::app {

struct FoundCamera {
  DetectedDevice device;              // without the files that are set aside
  std::vector<std::string> setAside;  // their paths
};

// Which cameras there are, and the user's leave to use them.
class CameraAccessFlow {
 public:
  CameraAccessFlow(ModelContext& context, PermissionRequests& requests)
      : context_(context), model_(context.model), fields_(context.fields), requests_(requests) {}

  // Throws what Volumes throws.
  bool isStillMounted(const FileURL& url) const;
  // The volumes that could be cameras; none, and the failure shown, where the system can't tell.
  std::vector<MountedVolume> mountedVolumes();
  // Fills `availableRemovableVolumes`.
  void refreshMountedVolumes();
  // Starts the access to the volumes of saved cameras, and ends it where it isn't needed any more.
  void refreshSecurityScopedAccess();
  // Fills `connectedDevices` and the status line.
  Task<> discoverConnectedDevices();
  // Absent where the volume is no saved camera. Throws CancellationError where the camera left while it was
  // read, else what reading it throws.
  Task<std::optional<FoundCamera>> detectConnectedCamera(FileURL volumeURL,
                                                         std::vector<DeviceProfile> profiles);

  Started<AddedCamera> addDevice(std::optional<FileURL> proposed, AppModel::AfterAdding afterwards);
  Started<FlowOutcome> removeDevice(UUID grantID);

 private:
  Task<AddedCamera> askForDevice(UUID requestID, std::optional<FileURL> proposed,
                                 AppModel::AfterAdding afterwards);
  std::optional<std::string> saveDevice(const FileURL& chosen);
  void publishRemovableVolumes(const std::vector<MountedVolume>& mounted);
  void saveAccess(const FileURL& volume, const AppSettings::Bookmark& bookmark);
  Task<SyncSummary> useAddedDevice();
  Task<FlowOutcome> askToForget(CameraAccessGrant grant);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  PermissionRequests& requests_;
};

}  // namespace tolvander::app
