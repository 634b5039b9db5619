#pragma once

#include <optional>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// The folders for the user's files of each kind. Absent if the user has no home. The folders need not exist.
struct StandardDirectories {
  std::optional<FileURL> applicationSupport;
  FileURL temporary;
  std::optional<FileURL> configuration{};  // settings of programs
  std::optional<FileURL> logs{};           // log files
  std::optional<FileURL> pictures{};       // the user's pictures

  // The folders of the user who runs this process.
  static StandardDirectories current();

  // Folders in `home`, for a process that must not use the user's own files.
  static StandardDirectories below(const FileURL& home);

  friend bool operator==(const StandardDirectories&, const StandardDirectories&) = default;
};

}  // namespace tolvander
