#pragma once

#include <string>
#include <vector>

#include "TolvanderCore/DiagnosticLog.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// The diagnostic log.
struct LogReport {
  std::vector<FileURL> files;      // those that are there, the newest first
  std::vector<std::string> lines;  // of all files, the oldest first; what is no line of ours is left out

  // Reads all files. Throws DiagnosticLog::StorageError and PosixError.
  static LogReport of(const DiagnosticLog& log);

  // For people, with line ends: a line for each event, "2026-03-14T09:26:53.589Z  syncStarted
  // camera_files=12".
  std::string text() const;
  std::string textOfFiles() const;

  // For programs: an array of the lines as they are stored; an object with "files", an array of paths.
  std::string json() const;
  std::string jsonOfFiles() const;
};

}  // namespace tolvander::app
