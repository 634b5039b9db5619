#pragma once

#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// Whether a photo library may be made in this folder.
Alert newLibraryQuestion(const FileURL& folder);

// The same where there was a library in this folder before.
Alert replacedLibraryQuestion(const FileURL& folder);

}  // namespace tolvander::app
