#pragma once

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class SyncHistoryErrorCase { unreadableHistory, unresolvedImport };

// Why the history doesn't allow an import.
class SyncHistoryError final : public CaseError<SyncHistoryErrorCase> {
 public:
  explicit SyncHistoryError(Case kind);

  std::string_view domain() const override { return "TolvanderCore.SyncHistoryError"; }
  std::optional<std::string> description() const override;
};

}  // namespace tolvander
