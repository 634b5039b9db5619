#pragma once

#include <string>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Copies of originals. `url` names the copy in errors. All throw PosixError.

// Creates a file for reading and writing. EEXIST if the name is taken.
OwnedDescriptor newFile(const OwnedDescriptor& folder, const std::string& name, const FileURL& url);

// Copies the source, from its current position, to the copy's: by sharing blocks if the file system can
// (FICLONE), else by writing. Returns the fingerprint (FileFingerprinter) of the written bytes or, with
// shared blocks, of the copy.
std::string copyContent(const OwnedDescriptor& source, const OwnedDescriptor& copy, const FileURL& url);

// Sets the modification date of the copy to that of its source.
void takeOverDate(const OwnedDescriptor& source, const OwnedDescriptor& copy, const FileURL& url);

}  // namespace tolvander::platform::linux_
