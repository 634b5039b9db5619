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

// A small local log of what the application did, in which nothing about the user's pictures can stand: a line
// holds one event of a closed list and at most eight integers under short validated keys. There is no field
// for a file name, a path, an identifier or the text of an error, so that nobody has to take care at a call.
//
// A line is a JSON object with sorted keys, in UTF-8, ended by a line feed:
//   {"event":"syncStarted","metrics":{"camera_files":12},"time":"2026-03-14T09:26:53.589Z"}
//
// Best effort: a failure to write never disturbs the application, it is remembered in `storageFailure` and
// the line is lost. The files are made, rotated and written on a thread of the log's own, and nothing is
// buffered: a crash loses at most what that thread had not come to. Several processes may write to one
// folder. What is no plain file of this user's is never written to, replaced or removed.
//
// There is none for the whole process. A shell makes one for the home that it runs in and passes it to
// whoever records, so that a process with a home of its own (a test, `--home`) leaves the user's log alone.
class DiagnosticLog {
 public:
  // In the order of the flows that record them. The name in a line is the case's name.
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

  // Touches no file. `maximumFileBytes`, the most that one file holds, counts as at least 256 and at most 16
  // MiB; `retainedFileCount`, the number of files kept, the active one included, as 1 to 16.
  explicit DiagnosticLog(FileURL directory, std::int64_t maximumFileBytes = standardMaximumFileBytes,
                         std::int64_t retainedFileCount = standardRetainedFileCount);

  // Writes what has been recorded, and waits for it.
  ~DiagnosticLog();
  DiagnosticLog(const DiagnosticLog&) = delete;
  DiagnosticLog& operator=(const DiagnosticLog&) = delete;

  // Where the log of a home belongs; absent where the user has no home.
  static std::optional<FileURL> standardDirectory(const StandardDirectories& directories);

  const FileURL& directory() const { return directory_; }
  std::int64_t maximumFileBytes() const { return maximumFileBytes_; }
  std::int64_t retainedFileCount() const { return retainedFileCount_; }

  // Leaves a line, in the order of the calls. On any thread; returns at once and can't fail. A metric whose
  // key is not an ASCII letter followed by up to 31 ASCII letters, digits or "_" is dropped in silence; of
  // the others the eight that sort first are kept.
  void record(Event event, const Metrics& metrics = {}) noexcept;

  // The log's files, the newest first, the active one among them in any case. Waits for every line recorded
  // before. On any thread. Throws StorageError.
  std::vector<FileURL> files() const;

  // Why the last line was not written; absent after one that was. Waits for every line recorded before.
  std::optional<StorageError> storageFailure() const;

 private:
  FileURL directory_;
  std::int64_t maximumFileBytes_;
  std::int64_t retainedFileCount_;
  std::optional<StorageError> storageFailure_;  // of the queue's thread alone
  std::unique_ptr<SerialQueue> queue_;          // last: ends before what its jobs use
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::DiagnosticLog::StorageError> {
  std::size_t operator()(const tolvander::DiagnosticLog::StorageError& error) const noexcept {
    return std::hash<tolvander::DiagnosticLog::StorageError::Case>()(error.kind());
  }
};
