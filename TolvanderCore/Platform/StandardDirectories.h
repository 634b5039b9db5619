#pragma once

#include <optional>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Where the user's files of each kind belong. Absent where the system has no such place for this user (no
// home). The folders need not exist yet.
struct StandardDirectories {
  std::optional<FileURL> applicationSupport;
  FileURL temporary;
  std::optional<FileURL> configuration{};  // what the user has chosen in programs
  std::optional<FileURL> logs{};           // what programs tell about their running
  std::optional<FileURL> pictures{};       // those that the user keeps

  // Of the user who runs this process.
  static StandardDirectories current();

  // All of them below one folder of the caller's choice, for a process that has to leave the user's own files
  // alone.
  static StandardDirectories below(const FileURL& home);

  friend bool operator==(const StandardDirectories&, const StandardDirectories&) = default;
};

}  // namespace tolvander
