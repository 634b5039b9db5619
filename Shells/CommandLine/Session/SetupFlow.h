#pragma once

#include "Shells/CommandLine/Session/Session.h"
#include "TolvanderApp/Concurrency/Task.h"

// The steps of setting up, which several commands take.
namespace tolvander::shell {

// Starts the model, and waits until it knows cameras, permissions and the library.
app::Task<> startUp(Session* session);

// Asks for access to the photo library where that was not decided yet. False where the library can't be used;
// the model says why.
app::Task<bool> prepareLibrary(app::AppModel* model);

}  // namespace tolvander::shell
