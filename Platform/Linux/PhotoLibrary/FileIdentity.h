#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::platform::linux_ {

// Distinguishes a file from another one of the same name while the process lives. Not to be stored: inode
// numbers don't survive a remount on every file system.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t byteCount = 0;
  Date modified;

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Throws PosixError.
FileIdentity identityOf(const OwnedDescriptor& file, const FileURL& url);

// Whether the entry `name` of an open folder is that regular file. False if the entry can't be examined.
bool isFile(const FileIdentity& identity, const OwnedDescriptor& folder, const std::string& name);

}  // namespace tolvander::platform::linux_
