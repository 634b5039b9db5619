#pragma once

#include "Shells/CommandLine/Session/Session.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderCore/Concurrency/Cancellation.h"

namespace tolvander::shell {

// Makes the catalogue of the photo library anew, after asking. `stop` ends the reading of files. Throws what
// LibraryRebuild throws, and SyncHistoryError: without the history every picture would get another identity.
app::Task<ExitStatus> rebuildLibrary(Session* session, bool json, CancellationToken stop);

}  // namespace tolvander::shell
