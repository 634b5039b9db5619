#pragma once

#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// The settings that the user changes on a screen and that a running sync reads.
class SettingsFlow {
 public:
  explicit SettingsFlow(ModelContext& context) : context_(context) {}

  void setDeleteAfterSync(bool value) { set(&AppSettings::setDeleteAfterSync, value); }
  void setAutoEjectAfterSync(bool value) { set(&AppSettings::setAutoEjectAfterSync, value); }
  void setAddToAlbum(bool value) { set(&AppSettings::setAddToAlbum, value); }

 private:
  void set(void (AppSettings::*setter)(bool), bool value);

  ModelContext& context_;
};

}  // namespace tolvander::app
