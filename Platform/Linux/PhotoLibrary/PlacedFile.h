#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Names of files that have none yet: a UUID and ".part".
std::string newIncomingName();
bool isIncomingName(std::string_view name);

// The name of a copy of an incoming file in the folder where it is to get its final name, where that folder
// is on another disk. Hidden from people.
std::string carriedName(std::string_view incomingName);

// Tells a file from another one of its name, for as long as the process lives that looked at it. After that
// only its content does: inode numbers don't outlive a mount on every file system.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t byteCount = 0;
  Date modified;

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Throws PosixError.
FileIdentity identityOf(const OwnedDescriptor& file, const FileURL& url);

// Whether the entry of this name in an open folder is that regular file. False for what can't be looked at.
bool isFile(const FileIdentity& identity, const OwnedDescriptor& folder, const std::string& name);

// Gives a file another name, which nothing may have yet: false where something has it. Throws PosixError.
//
// Where the file system has no such renaming, an empty file is made to keep the name, and then replaced; in
// between, that is what others see.
bool renameToFreeName(const OwnedDescriptor& fromFolder, const std::string& from,
                      const OwnedDescriptor& toFolder, const std::string& to, const FileURL& folder);

}  // namespace tolvander::platform::linux_
