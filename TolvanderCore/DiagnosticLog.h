#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TolvanderCore/Foundation/CaseError.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Platform/StandardDirectories.h"

namespace tolvander {

class SerialQueue;

// A small local log of what the application did that cannot contain user data: a line holds one event of a
// closed list and at most eight integers with short validated keys. No field can hold a file name, a path, an
// identifier or the text of an error.
//
// A line is a JSON object with sorted keys, in UTF-8, ended by a line feed:
//   {"event":"syncStarted","metrics":{"camera_files":12},"time":"2026-03-14T09:26:53.589Z"}
//
// Best effort: after a failure to write, the line is lost and `storageFailure` returns the error; the
// application goes on. The log's thread creates, rotates and writes the files without buffering: a crash
// loses at most the lines that this thread had not written yet. Several processes may write to one folder.
// Only regular files that belong to this user are written to, replaced or removed.
//
// There is no global log. A shell makes one for its home and passes it on, so that a process with another
// home (a test, `--home`) doesn't write to the user's log.
class DiagnosticLog {
 public:
  // In the order of the flows that record them. A line has the name of the enumerator.
  enum class Event : std::uint8_t {
    appLaunched,
    appTerminated,
    permissionsChanged,
    setupCompleted,
    setupSuspended,
    syncStarted,
    syncFinished,
    syncCancelled,
    operationFailed,
    syncPhaseChanged,
    recognitionStarted,
    recognitionFinished,
    reviewFinished,
    albumUpdated,
    ejectFinished,
    cleanupFinished,
    cameraConnectionChanged,
    reportOpened,
    windowPresentationChanged,
    permissionFocusRecovery,
    permissionPromptStarted
  };

  static std::string_view rawValue(Event event);

  using Metrics = std::map<std::string, std::int64_t>;

  enum class StorageErrorCase { unavailable, unsafeLocation };

  class StorageError final : public CaseError<StorageErrorCase> {
   public:
    explicit StorageError(Case kind);

    std::string_view domain() const override { return "TolvanderCore.DiagnosticLog.StorageError"; }
    std::optional<std::string> description() const override;

    friend bool operator==(const StorageError& left, const StorageError& right) {
      return left.kind() == right.kind();
    }
  };

  static constexpr std::int64_t standardMaximumFileBytes = 512 * 1024;
  static constexpr std::int64_t standardRetainedFileCount = 4;

  // Accesses no file. `maximumFileBytes`, the largest size of one file, is clamped to 256 bytes to 16 MiB;
  // `retainedFileCount`, the number of files kept, including the active one, to 1 to 16.
  explicit DiagnosticLog(FileURL directory, std::int64_t maximumFileBytes = standardMaximumFileBytes,
                         std::int64_t retainedFileCount = standardRetainedFileCount);

  // Waits until all recorded lines are written.
  ~DiagnosticLog();
  DiagnosticLog(const DiagnosticLog&) = delete;
  DiagnosticLog& operator=(const DiagnosticLog&) = delete;

  // The folder of the log in the user's home; absent if the user has no home.
  static std::optional<FileURL> standardDirectory(const StandardDirectories& directories);

  const FileURL& directory() const { return directory_; }
  std::int64_t maximumFileBytes() const { return maximumFileBytes_; }
  std::int64_t retainedFileCount() const { return retainedFileCount_; }

  // Adds a line; lines are written in the order of the calls. On any thread; returns at once. Metrics whose
  // key isn't an ASCII letter followed by up to 31 ASCII letters, digits or "_" are dropped silently; of the
  // others, the eight whose keys sort first are kept.
  void record(Event event, const Metrics& metrics = {}) noexcept;

  // The log's files, the newest first, including the active one, which is created if it is missing. Waits
  // for every line recorded before. On any thread. Throws StorageError.
  std::vector<FileURL> files() const;

  // Why the last line could not be written; absent if it was. Waits for every line recorded before. On any
  // thread.
  std::optional<StorageError> storageFailure() const;

 private:
  FileURL directory_;
  std::int64_t maximumFileBytes_;
  std::int64_t retainedFileCount_;
  std::optional<StorageError> storageFailure_;  // used on the queue's thread only
  std::unique_ptr<SerialQueue> queue_;          // declared last: its jobs use the others
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::DiagnosticLog::StorageError> {
  std::size_t operator()(const tolvander::DiagnosticLog::StorageError& error) const noexcept {
    return std::hash<tolvander::DiagnosticLog::StorageError::Case>()(error.kind());
  }
};
