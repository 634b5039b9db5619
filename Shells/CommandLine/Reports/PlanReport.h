#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/Error.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/MediaProcessingPlan.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::app {

// The plan has no output to write, because the output is yet to be made from a video.
class NoPlannedOutputError final : public Error {
 public:
  NoPlannedOutputError() : Error("the plan has no output") {}

  std::string_view domain() const override { return "TolvanderApp.NoPlannedOutputError"; }
  std::string_view caseName() const override { return "noPlannedOutput"; }
  std::int64_t code() const override { return 0; }
  std::optional<std::string> description() const override;
};

// What is to happen to one file before it is imported.
struct PlanReport {
  // What a plan depends on beside the file's bytes and its extension.
  struct Terms {
    bool isFromCharmera = true;
    std::optional<Date> modificationDate = std::nullopt;  // absent: the file's own
    TimeZone zone = TimeZone::current();
  };

  FileURL fileURL;
  MediaProcessingPlan plan;                       // without output where the file isn't altered
  std::optional<std::int64_t> outputByteCount{};  // of what is imported; absent where that is yet to be made

  // Plans one file. Links are followed; the extension is the one of the name that was given. Blocks; holds
  // only a picture that is repaired in memory. Throws PosixError where it isn't a file or can't be read
  // (EISDIR for a folder, EINVAL for a device or a pipe), MediaProcessingError,
  // MediaStagingError::sourceChanged where the file hasn't the size that it says, and CancellationError.
  static PlanReport of(const FileURL& fileURL, const Terms& terms, const CancellationToken& token);

  // Writes what is imported to a file that is not there yet; reads a file that isn't altered once more. On
  // failure none is left. Throws NoPlannedOutputError, PosixError (EEXIST), MediaStagingError::sourceChanged
  // where the file isn't the one that was planned, and CancellationError.
  void writeOutput(const FileURL& url, const CancellationToken& token) const;

  // For people, with line ends: what is to happen, then a line a field. Fields that the plan doesn't have are
  // left out.
  std::string text() const;

  // For programs: one object of the plan's fields under their names, "outputData" as its number of bytes.
  // Fields that the plan doesn't have are missing.
  std::string json() const;
};

}  // namespace tolvander::app
