#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/TrashIntent.h"

namespace tolvander {

// The file of the moves to the Trash that were begun and not yet recorded, in the order in which they began:
// one JSON object per line. The file doesn't exist while there are none.
//
// An intent is appended, so that its cost doesn't grow with the number of intents. An incomplete last line,
// left by a crash, is ignored: its move had not begun. One thread at a time.
class TrashIntentJournal {
 public:
  // Reads the file and changes nothing. Never throws. Lines that can't be parsed are skipped.
  explicit TrashIntentJournal(FileURL file);

  const std::vector<TrashIntent>& intents() const { return intents_; }

  // When it returns, the intent survives a power loss. Throws PosixError, also if the file existed at the
  // start and could not be read; the intent is then not added.
  void add(const TrashIntent& intent);

  // Removes the intents with these ids. Throws PosixError; they are then still there.
  void remove(const std::set<UUID>& ids);

 private:
  const FileURL file_;
  std::optional<PosixError> failure_;  // of reading
  std::vector<TrashIntent> intents_;
  std::uint64_t size_ = 0;  // bytes up to the end of the last whole line
};

}  // namespace tolvander
