#pragma once

#include <cstddef>
#include <span>

#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Writes one new file from its start. Child processes don't inherit the descriptor. The file may be lost or
// incomplete after a power loss. For one thread at a time.
class FileWriter {
 public:
  // Creates the file. Throws PosixError; EEXIST if anything has this name already, including a dangling
  // symbolic link.
  explicit FileWriter(const FileURL& url);

  // Appends all of the bytes. Throws PosixError.
  void write(std::span<const std::byte> bytes);

  // To be called once, after the last write: the system reports some failed writes only then. Throws
  // PosixError.
  void close();

 private:
  FileURL url_;
  OwnedDescriptor file_;
};

}  // namespace tolvander
