#pragma once

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class MediaImportErrorCase { incompleteBatch };  // the library took some files of a batch and not all

// An import that was not completed.
class MediaImportError final : public CaseError<MediaImportErrorCase> {
 public:
  explicit MediaImportError(Case kind);

  std::string_view domain() const override { return "TolvanderCore.MediaImportError"; }
  std::optional<std::string> description() const override;
};

}  // namespace tolvander
