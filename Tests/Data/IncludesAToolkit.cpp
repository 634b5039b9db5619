// clang-format off
// Never compiled: an input to the check of the layers' includes.
#include <sqlite3.h>
#include <unicode/ucol.h>

#include <vector>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/../Platform/Linux/Descriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"
/* */ #include <openssl/evp.h>
