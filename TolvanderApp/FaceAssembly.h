#pragma once

#include <string>

#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/FaceState.h"
#include "TolvanderApp/Platform/ApplicationVersion.h"
#include "TolvanderApp/UpdateReminder.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Platform/Calendar.h"
#include "TolvanderCore/SystemNames.h"

namespace tolvander::app {

// What a face knows besides the model.
struct FaceSurroundings {
  UpdateReminder updateReminder{};
  ApplicationVersion version{};
  SystemNames names{};
  std::string supportAddress;
  Date now{};
  TimeZone zone = TimeZone::utc();  // the user's
};

// What there is to show now. Main thread.
FaceState faceStateOf(const AppModel& model, const FaceSurroundings& surroundings);

}  // namespace tolvander::app
