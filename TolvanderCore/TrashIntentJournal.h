#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/TrashIntent.h"

namespace tolvander {

// The file of the moves to the Trash that were begun and not yet recorded: one JSON object a line, in the
// order in which they were begun. There is no file while there is no such move.
//
// Adding appends, so that it costs the same for the first file of a card and for the last. A line that a
// crash cut short has no line end and isn't read: its move never began. Used by one thread at a time.
class TrashIntentJournal {
 public:
  // Reads the file and changes nothing. Never throws. Lines that can't be understood are passed over.
  explicit TrashIntentJournal(FileURL file);

  const std::vector<TrashIntent>& intents() const { return intents_; }

  // When it returns, the intent survives a power loss. Throws PosixError, also where the file was there at
  // the start and couldn't be read; then there is no such intent.
  void add(const TrashIntent& intent);

  // Removes those with these identities. Throws PosixError; then they are there still.
  void remove(const std::set<UUID>& ids);

 private:
  const FileURL file_;
  std::optional<PosixError> failure_;  // of reading
  std::vector<TrashIntent> intents_;
  std::uint64_t size_ = 0;  // bytes up to the end of the last whole line
};

}  // namespace tolvander
