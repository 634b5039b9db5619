#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// The result of finished work, which the status line shows for a time. A failure or new work removes it.
struct StatusReceipt {
  // How long results stay at least. Longer after an eject: the user may unplug the camera before looking.
  static constexpr std::chrono::duration<double> whileMounted{120};
  static constexpr std::chrono::duration<double> afterEject{300};

  std::string message;  // what the status line shows
  Date completedAt;
  std::int64_t metadataSkippedCount = 0;  // files left out as likely in the library already
  std::vector<std::string> metadataSkippedFiles;
  std::chrono::duration<double> minimumDisplayDuration{0};
  UUID id;  // distinguishes two receipts with the same text

  // Which files were left out (at most 20 names) and why; absent when none was.
  std::optional<std::string> duplicateHelp() const;

  // The message after `addedCount` items were added to an album.
  static std::string albumMessage(std::int64_t addedCount);

  friend bool operator==(const StatusReceipt&, const StatusReceipt&) = default;
};

}  // namespace tolvander::app
