#include "TolvanderCore/DiagnosticLog.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <exception>
#include <iterator>
#include <span>
#include <thread>
#include <utility>
#include <variant>

#include "TolvanderCore/Concurrency/SerialQueue.h"
#include "TolvanderCore/Files/DescriptorIO.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/LocalDateTime.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/JSON/JSONWriter.h"

namespace tolvander {

namespace {

using Event = DiagnosticLog::Event;
using Metrics = DiagnosticLog::Metrics;
using StorageError = DiagnosticLog::StorageError;
using Case = StorageError::Case;

constexpr std::size_t largestKey = 32;  // bytes
constexpr std::size_t mostMetrics = 8;
constexpr std::size_t largestLine = 2048;  // bytes, including the line feed

constexpr std::array<std::string_view, 21> eventNames = {"appLaunched",
                                                         "appTerminated",
                                                         "permissionsChanged",
                                                         "setupCompleted",
                                                         "setupSuspended",
                                                         "syncStarted",
                                                         "syncFinished",
                                                         "syncCancelled",
                                                         "operationFailed",
                                                         "syncPhaseChanged",
                                                         "recognitionStarted",
                                                         "recognitionFinished",
                                                         "reviewFinished",
                                                         "albumUpdated",
                                                         "ejectFinished",
                                                         "cleanupFinished",
                                                         "cameraConnectionChanged",
                                                         "reportOpened",
                                                         "windowPresentationChanged",
                                                         "permissionFocusRecovery",
                                                         "permissionPromptStarted"};
static_assert(eventNames.size() == static_cast<std::size_t>(Event::permissionPromptStarted) + 1);

bool isASCIILetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isValidKey(std::string_view key) {
  const auto mayFollow = [](char character) {
    return isASCIILetter(character) || (character >= '0' && character <= '9') || character == '_';
  };
  return !key.empty() && key.size() <= largestKey && isASCIILetter(key.front()) &&
         std::ranges::all_of(key.substr(1), mayFollow);
}

Metrics keptMetrics(const Metrics& metrics) {
  Metrics kept;
  for (const auto& [key, value] : metrics) {
    if (kept.size() == mostMetrics) {
      break;
    }
    if (isValidKey(key)) {
      kept.emplace(key, value);
    }
  }
  return kept;
}

// "2026-03-14T09:26:53.589Z": ISO 8601 with milliseconds, rounded down.
std::string timeText(Date date) {
  using namespace std::chrono;
  constexpr std::size_t digits = 3;
  const auto second = floor<seconds>(date);
  const std::string fraction = std::to_string(floor<milliseconds>(date - second).count());
  return localDateTimeText(second, "0000-00-00T00:00:00.") + std::string(digits - fraction.size(), '0') +
         fraction + "Z";
}

std::string lineText(Event event, const Metrics& metrics, const std::string& time) {
  return jsonText(JSONWriter::Style::compact,
                  [&](JSONWriter& writer) {
                    writer.beginObject();
                    writer.string("event", DiagnosticLog::rawValue(event));
                    writer.key("metrics");
                    writer.beginObject();
                    for (const auto& [key, value] : metrics) {
                      writer.integer(key, value);
                    }
                    writer.endObject();
                    writer.string("time", time);
                    writer.endObject();
                  }) +
         "\n";
}

// With as many of the metrics, in the order of their keys, as fit into `mostBytes`. A line without metrics is
// never shortened.
std::string fittingLine(Event event, Metrics metrics, std::size_t mostBytes) {
  const std::string time =
      timeText(std::chrono::time_point_cast<Date::duration>(std::chrono::system_clock::now()));
  std::string line = lineText(event, metrics, time);
  while (line.size() > mostBytes && !metrics.empty()) {
    metrics.erase(std::prev(metrics.end()));
    line = lineText(event, metrics, time);
  }
  return line;
}

std::string nameOf(std::int64_t index) {
  return index == 0 ? "Tolvander.log" : "Tolvander." + std::to_string(index) + ".log";
}

bool isPlainFileOfThisUser(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == geteuid();
}

// Creates the folder and the missing ones above it. Only this user may enter them.
void createPrivateDirectories(const FileURL& directory) {
  constexpr mode_t thisUserAlone = 0700;
  if (mkdir(directory.path().c_str(), thisUserAlone) == 0 || errno == EEXIST) {
    return;
  }
  if (errno != ENOENT) {
    throw StorageError(Case::unavailable);
  }
  createPrivateDirectories(directory.deletingLastPathComponent());
  if (mkdir(directory.path().c_str(), thisUserAlone) != 0 && errno != EEXIST) {
    throw StorageError(Case::unavailable);
  }
}

// The log's folder, locked for one write or one listing, so that no other process rotates the files between
// this one's check of a size and its write. On a file system without locks it isn't locked.
class LogFolder {
 public:
  LogFolder(const FileURL& directory, std::int64_t retainedFileCount)
      : folder_(opened(directory)), retainedFileCount_(retainedFileCount) {
    takeLock();
  }

  // Throws unless every file with a name of the log is a regular file of this user.
  void validateAll() const {
    for (std::int64_t index = 0; index < retainedFileCount_; ++index) {
      validateExisting(index);
    }
  }

  // The status of one file; absent if there is none. Throws like validateAll.
  std::optional<struct stat> validateExisting(std::int64_t index) const {
    struct stat status {};
    if (fstatat(folder_.number(), nameOf(index).c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) {
        return std::nullopt;
      }
      throw StorageError(Case::unavailable);
    }
    if (!isPlainFileOfThisUser(status)) {
      throw StorageError(Case::unsafeLocation);
    }
    return status;
  }

  // Opens the active file for appending; creates it if it is missing.
  OwnedDescriptor openActive() const {
    constexpr mode_t thisUserAlone = 0600;
    constexpr int flags = O_WRONLY | O_NONBLOCK | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_CREAT;
    validateExisting(0);
    OwnedDescriptor file(
        retryOnEINTR([this] { return openat(folder_.number(), nameOf(0).c_str(), flags, thisUserAlone); }));
    if (!file) {
      throw StorageError(Case::unavailable);
    }
    struct stat status {};
    if (fstat(file.number(), &status) != 0 || !isPlainFileOfThisUser(status) ||
        fchmod(file.number(), thisUserAlone) != 0) {
      throw StorageError(Case::unsafeLocation);
    }
    return file;
  }

  // Renames every file to the next higher number, and removes the last one.
  void rotate() const {
    const std::int64_t last = retainedFileCount_ - 1;
    if (validateExisting(last) && unlinkat(folder_.number(), nameOf(last).c_str(), 0) != 0) {
      throw StorageError(Case::unavailable);
    }
    for (std::int64_t index = last - 1; index >= 0; --index) {
      if (validateExisting(index) && renameat(folder_.number(), nameOf(index).c_str(), folder_.number(),
                                              nameOf(index + 1).c_str()) != 0) {
        throw StorageError(Case::unavailable);
      }
    }
  }

 private:
  static OwnedDescriptor opened(const FileURL& directory) {
    constexpr mode_t thisUserAlone = 0700;
    struct stat status {};
    if (lstat(directory.path().c_str(), &status) != 0) {
      if (errno != ENOENT) {
        throw StorageError(Case::unavailable);
      }
      createPrivateDirectories(directory);
    } else if (!S_ISDIR(status.st_mode)) {
      throw StorageError(Case::unsafeLocation);
    }
    OwnedDescriptor folder(retryOnEINTR(
        [&] { return open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
    if (!folder || fstat(folder.number(), &status) != 0 || status.st_uid != geteuid() ||
        fchmod(folder.number(), thisUserAlone) != 0) {
      throw StorageError(Case::unavailable);
    }
    return folder;
  }

  // Waits at most a second for another process: one that was suspended while it had the lock must not keep
  // this one from ending.
  void takeLock() const {
    constexpr int mostAttempts = 200;
    constexpr auto pause = std::chrono::milliseconds(5);
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
      if (flock(folder_.number(), LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR)) {
        return;
      }
      std::this_thread::sleep_for(pause);
    }
    throw StorageError(Case::unavailable);
  }

  OwnedDescriptor folder_;
  std::int64_t retainedFileCount_;
};

// Appends the whole line, or nothing: a part of a line (on a full disk) is removed again, because the next
// line would be appended to it.
void appendLine(const OwnedDescriptor& file, std::string_view line, const FileURL& url) {
  struct stat before {};
  const bool isSizeKnown = fstat(file.number(), &before) == 0;
  try {
    writeAll(file, std::as_bytes(std::span(line)), url);
  } catch (const PosixError&) {
    // Where this fails too, the part of the line remains.
    const bool isUndone = isSizeKnown && ftruncate(file.number(), before.st_size) == 0;
    static_cast<void>(isUndone);
    throw StorageError(Case::unavailable);
  }
}

void append(const FileURL& directory, std::int64_t maximumFileBytes, std::int64_t retainedFileCount,
            Event event, const Metrics& metrics) {
  const LogFolder folder(directory, retainedFileCount);
  folder.validateAll();
  const std::string line =
      fittingLine(event, metrics, std::min(largestLine, static_cast<std::size_t>(maximumFileBytes)));
  const auto active = folder.validateExisting(0);
  if (active && active->st_size > maximumFileBytes - static_cast<std::int64_t>(line.size())) {
    folder.rotate();
  }
  appendLine(folder.openActive(), line, directory.appending(nameOf(0)));
}

std::vector<FileURL> existingFiles(const FileURL& directory, std::int64_t retainedFileCount) {
  const LogFolder folder(directory, retainedFileCount);
  folder.openActive();
  std::vector<FileURL> files;
  for (std::int64_t index = 0; index < retainedFileCount; ++index) {
    if (folder.validateExisting(index)) {
      files.push_back(directory.appending(nameOf(index)));
    }
  }
  return files;
}

}  // namespace

std::string_view DiagnosticLog::rawValue(Event event) {
  return eventNames.at(static_cast<std::size_t>(event));
}

DiagnosticLog::StorageError::StorageError(Case kind)
    : CaseError(kind, kind == Case::unavailable ? "the log can't be written"
                                                : "something foreign lies among the log's files") {}

std::optional<std::string> DiagnosticLog::StorageError::description() const {
  return kind() == Case::unavailable ? "Local diagnostics could not be saved."
                                     : "The diagnostics folder contains an unexpected file or link.";
}

DiagnosticLog::DiagnosticLog(FileURL directory, std::int64_t maximumFileBytes, std::int64_t retainedFileCount)
    : directory_(std::move(directory)),
      maximumFileBytes_(std::clamp<std::int64_t>(maximumFileBytes, 256, 16 * 1024 * 1024)),
      retainedFileCount_(std::clamp<std::int64_t>(retainedFileCount, 1, 16)),
      queue_(std::make_unique<SerialQueue>()) {}

DiagnosticLog::~DiagnosticLog() = default;

std::optional<FileURL> DiagnosticLog::standardDirectory(const StandardDirectories& directories) {
  return directories.logs ? std::optional(directories.logs->appending("Tolvander")) : std::nullopt;
}

void DiagnosticLog::record(Event event, const Metrics& metrics) noexcept {
  try {
    queue_->post([this, event, kept = keptMetrics(metrics)] {
      try {
        append(directory_, maximumFileBytes_, retainedFileCount_, event, kept);
        storageFailure_.reset();
      } catch (const StorageError& failure) {
        storageFailure_ = failure;
      } catch (const std::exception&) {
        storageFailure_.emplace(StorageError::Case::unavailable);
      }
    });
  } catch (const std::exception&) {
    return;  // out of memory: the line is lost
  }
}

std::vector<FileURL> DiagnosticLog::files() const {
  std::variant<std::vector<FileURL>, StorageError> outcome;
  queue_->runAndWait([&] {
    try {
      outcome = existingFiles(directory_, retainedFileCount_);
    } catch (const StorageError& failure) {
      outcome = failure;
    } catch (const std::exception&) {
      outcome = StorageError(StorageError::Case::unavailable);
    }
  });
  if (const auto* failure = std::get_if<StorageError>(&outcome)) {
    throw *failure;
  }
  return std::get<std::vector<FileURL>>(std::move(outcome));
}

std::optional<DiagnosticLog::StorageError> DiagnosticLog::storageFailure() const {
  std::optional<StorageError> failure;
  queue_->runAndWait([&] { failure = storageFailure_; });
  return failure;
}

}  // namespace tolvander
