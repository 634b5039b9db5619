#pragma once

#include <cstddef>
#include <span>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Writes one new file from its start. The descriptor is not inherited by child processes. Nothing is promised
// about power loss.
class FileWriter {
 public:
  // Creates the file. Throws PosixError, with EEXIST where there is something of this name already, be it a
  // link.
  explicit FileWriter(const FileURL& url);

  // Appends all of the bytes. Throws PosixError.
  void write(std::span<const std::byte> bytes);

  // To be called once, after the last write: some failures of writing are only told then. Throws PosixError.
  void close();

 private:
  FileURL url_;
  OwnedDescriptor file_;
};

}  // namespace tolvander
