#pragma once

#include "Shells/CommandLine/Session/Session.h"
#include "TolvanderApp/Concurrency/Task.h"

// The steps of setting up, which several commands take.
namespace tolvander::shell {

// Starts the model, and waits until it knows cameras, permissions and the library.
app::Task<> startUp(Session* session);

// Sees to it that the photo library may be used: where there is none yet, the user is asked once, unless
// `agrees` is the answer. Where there was one already, on a disk that isn't mounted say, `agrees` is no
// answer. False where the library can't be used. Throws SyncHistoryError where there is no library and the
// history can't be read.
app::Task<bool> prepareLibrary(Session* session, bool agrees);

}  // namespace tolvander::shell
