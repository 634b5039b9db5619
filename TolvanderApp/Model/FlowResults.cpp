#include "TolvanderApp/FlowResults.h"

#include <iterator>

namespace tolvander::app {

void SyncSummary::append(SyncSummary later) {
  if (later.outcome.end >= outcome.end) {
    outcome = std::move(later.outcome);
  }
  cameras.insert(cameras.end(), std::make_move_iterator(later.cameras.begin()),
                 std::make_move_iterator(later.cameras.end()));
}

}  // namespace tolvander::app
