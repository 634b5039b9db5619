#include "TolvanderCore/ManagedTrashRecord.h"

#include <utility>

namespace tolvander {

ManagedTrashRecord ManagedTrashRecord::relocatedTo(std::string path) const {
  ManagedTrashRecord copy = *this;
  copy.trashedPath = std::move(path);
  return copy;
}

}  // namespace tolvander
