#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// A result that stays on show for a time, and gives way to a failure or to new work.
struct StatusReceipt {
  // How long results stay at least. An ejected camera is likely to be carried away before anybody looks.
  static constexpr std::chrono::duration<double> whileMounted{120};
  static constexpr std::chrono::duration<double> afterEject{300};

  std::string message;  // what the status line shows
  Date completedAt;
  std::int64_t metadataSkippedCount = 0;  // files left out as likely in the library already
  std::vector<std::string> metadataSkippedFiles;
  std::chrono::duration<double> minimumDisplayDuration{0};
  UUID id;  // tells two receipts with the same text apart

  // Which files were left out, and why; absent where none was.
  std::optional<std::string> duplicateHelp() const;

  // What became of an album to which so many items were added.
  static std::string albumMessage(std::int64_t addedCount);

  friend bool operator==(const StatusReceipt&, const StatusReceipt&) = default;
};

}  // namespace tolvander::app
