#pragma once

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// Why the history keeps a file from being imported.
class SyncHistoryError final : public Error {
 public:
  enum class Case { unreadableHistory, unresolvedImport };

  explicit SyncHistoryError(Case kind);

  Case kind() const { return kind_; }

  std::string_view domain() const override { return "TolvanderCore.SyncHistoryError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind_); }
  std::optional<std::string> description() const override;

 private:
  Case kind_;
};

}  // namespace tolvander
