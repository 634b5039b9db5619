// clang-format off
// Never compiled: an input to the check of the layers' includes.
#include <sqlite3.h>
#include <linux/fs.h>

#include <vector>

#include "TolvanderApp/Presentation/Wording.h"
#include <TolvanderApp/AppModel.h>
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderApp/Concurrency/Task.h"
#include "Samples/Bytes.h"
#include "Descriptor.h"
#include "Platform/Linux/Foundation/CHandleDeleter.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderApp/Platform/../AppModel.h"
