#pragma once

#include <functional>
#include <memory>

#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/SyncHistoryStore.h"
#include "TolvanderCore/TrashIntent.h"

namespace tolvander::app {

// Where each move to the Trash is written down before it happens. Both operations throw what writing throws.
struct TrashIntentLog {
  // When it returns, the intent survives a power loss.
  std::function<void(const TrashIntent& intent)> begin;
  // The file is where it was.
  std::function<void(const UUID& id)> withdraw;

  // The one beside the history.
  static TrashIntentLog of(std::shared_ptr<SyncHistoryStore> history) {
    return {.begin = [history](const TrashIntent& intent) { history->beginTrashMove(intent); },
            .withdraw = [history](const UUID& id) { history->forgetTrashIntents({id}); }};
  }
};

}  // namespace tolvander::app
