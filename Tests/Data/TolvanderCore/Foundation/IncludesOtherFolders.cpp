// clang-format off
// Never compiled: an input to the check of the folders' includes.
#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/MediaStagingError.h"
#include "TolvanderCore/SyncCoordinator.h"
