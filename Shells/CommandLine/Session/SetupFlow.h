#pragma once

#include "Shells/CommandLine/Session/Session.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderCore/Foundation/FileURL.h"

// The steps of setting up, which several commands take.
namespace tolvander::shell {

// The saved camera that the model has found as this volume.
std::optional<app::ConnectedDeviceSummary> connectedDevice(const app::AppModel& model, const FileURL& volume);
bool isConnected(const app::AppModel& model, const FileURL& volume);

// Starts the model, and waits until it knows cameras, permissions and the library.
app::Task<> startUp(Session* session);

// Sees to it that the photo library may be used: where there is none yet, the user is asked once, unless
// `agrees` is the answer. Where there was one already, on a disk that isn't mounted say, `agrees` is no
// answer. False where the library can't be used. Throws SyncHistoryError where there is no library and the
// history can't be read.
app::Task<bool> prepareLibrary(Session* session, bool agrees);

// Remembers the volume as a camera, if the user agrees. Where setup is complete the model syncs it then, and
// this waits for that. False where the volume wasn't saved.
app::Task<bool> addCamera(Session* session, FileURL volume);

// Completes setup with a first sync, and waits for it.
app::Task<> completeSetup(Session* session);

}  // namespace tolvander::shell
