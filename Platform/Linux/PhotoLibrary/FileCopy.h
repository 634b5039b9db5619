#pragma once

#include <string>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Copies of originals. `url` names the copy in errors. Everything throws PosixError.

// Makes a file that is not there yet.
OwnedDescriptor newFile(const OwnedDescriptor& folder, const std::string& name, const FileURL& url);

// Shares the source's blocks where the file system can do that, or else copies them. Both are read and
// written from where they are. Returns the SHA-256 of the copy, as FileFingerprinter writes it: of the bytes
// that are written, or, where none are, of those that the copy shares.
std::string copyContent(const OwnedDescriptor& source, const OwnedDescriptor& copy, const FileURL& url);

// Gives the copy the modification date of its source.
void takeOverDate(const OwnedDescriptor& source, const OwnedDescriptor& copy, const FileURL& url);

}  // namespace tolvander::platform::linux_
