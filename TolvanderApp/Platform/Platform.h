#pragma once

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Concurrency/MonotonicTimer.h"
#include "TolvanderApp/Platform/Application.h"
#include "TolvanderApp/Platform/ApplicationVersion.h"
#include "TolvanderApp/Platform/Bookmarks.h"
#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderApp/Platform/LoginItem.h"
#include "TolvanderApp/Platform/NotificationDelivery.h"
#include "TolvanderApp/Platform/OperatingSystemVersion.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderApp/Platform/SystemSettings.h"
#include "TolvanderApp/Platform/TrashOperations.h"
#include "TolvanderApp/Platform/VolumeEjector.h"
#include "TolvanderApp/Platform/Volumes.h"
#include "TolvanderCore/SystemNames.h"

namespace tolvander::app {

// Everything that the application needs of the system it runs on. A shell fills it, and keeps it all alive
// until the main thread has ended its loop and the application is gone.
struct Platform {
  MainThread& mainThread;
  MonotonicTimer& timer;
  PhotoLibrary& photoLibrary;
  Volumes& volumes;
  Bookmarks& bookmarks;
  NotificationDelivery& notifications;
  TrashOperations& trash;
  VolumeEjector& ejector;
  Dialogs& dialogs;
  LoginItem& loginItem;
  SystemSettings& systemSettings;
  Application& application;
  ApplicationVersion applicationVersion;
  OperatingSystemVersion systemVersion;
  SystemNames systemNames;
};

}  // namespace tolvander::app
