#pragma once

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// An import that didn't come to its end.
class MediaImportError final : public Error {
 public:
  enum class Case { incompleteBatch };  // the library took some files of a batch and not all

  explicit MediaImportError(Case kind);

  Case kind() const { return kind_; }

  std::string_view domain() const override { return "TolvanderCore.MediaImportError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind_); }
  std::optional<std::string> description() const override;

 private:
  Case kind_;
};

}  // namespace tolvander
