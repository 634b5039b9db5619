#pragma once

#include <exception>
#include <map>
#include <optional>
#include <string>

#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Ejects cameras, and knows which unmounts follow from that.
class EjectFlow {
 public:
  explicit EjectFlow(ModelContext& context)
      : context_(context), model_(context.model), fields_(context.fields) {}

  Started<FlowOutcome> ejectDevice(ConnectedDeviceSummary device);
  Task<bool> ejectVolume(FileURL url, std::string displayName, bool isCharmera, bool notifyOnSuccess);

  // An eject of the user's runs, waits for the running flow, or has not begun yet.
  bool isPending() const { return task_ && !task_->isFinished(); }
  // Whether the unmount of this volume counts as the consequence of an eject.
  bool isOwnUnmount(const FileURL& standardizedURL) const;
  // The volume was mounted anew.
  void forgetUnmount(const FileURL& standardizedURL) {
    recentlyEjectedVolumes_.erase(standardizedURL.path());
  }

 private:
  Task<FlowOutcome> eject(ConnectedDeviceSummary device);
  Task<FlowOutcome> ejectAfterFlow(ConnectedDeviceSummary device);
  void showEjectFailure(const std::string& displayName, const std::exception_ptr& failure);
  void rememberOwnUnmount(const FileURL& url);
  Task<> presentEject(std::string displayName, bool isCharmera, bool hadCheckmark, bool notifyOnSuccess);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  std::optional<TaskHandle> task_;  // the last one, finished or not
  // Standardised paths of volumes that were ejected, each with the instant until which its unmount counts as
  // the consequence.
  std::map<std::string, Date> recentlyEjectedVolumes_;
};

}  // namespace tolvander::app
