#pragma once

#include <cstdint>

namespace tolvander {

// The progress of a sync.
struct SyncPhase {
  enum class Kind {  // in order of use
    checkingAccess,  // the access gate at the start
    fingerprinting,  // the identities of the camera's files are being computed
    recognizing,     // the library is being searched
    preparing,       // an import is about to start
    importing,       // reported by the import itself, with its counts
    album,           // also where no album is asked for
    finished,
  };

  Kind kind = Kind::checkingAccess;
  // Files imported so far and files to import. `importing` only; 0 for every other kind.
  std::int64_t completed = 0;
  std::int64_t total = 0;

  static SyncPhase importing(std::int64_t completed, std::int64_t total) {
    return {.kind = Kind::importing, .completed = completed, .total = total};
  }

  friend bool operator==(const SyncPhase&, const SyncPhase&) = default;
};

}  // namespace tolvander
