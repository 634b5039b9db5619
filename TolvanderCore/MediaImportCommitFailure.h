#pragma once

#include <exception>
#include <utility>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class MediaImportCommitFailureCase { definiteFailure };

// A commit of which it is certain that the library has taken no file of the batch. Every other failure of a
// commit leaves the outcome unknown, and its marks may not be taken back.
class MediaImportCommitFailure final : public CaseError<MediaImportCommitFailureCase> {
 public:
  // `underlying` is the failure that the caller of the import is to see; not null.
  static MediaImportCommitFailure definiteFailure(std::exception_ptr underlying) {
    return MediaImportCommitFailure(std::move(underlying));
  }

  const std::exception_ptr& underlying() const { return underlying_; }

  std::string_view domain() const override { return "TolvanderCore.MediaImportCommitFailure"; }

 private:
  explicit MediaImportCommitFailure(std::exception_ptr underlying)
      : CaseError(Case::definiteFailure, "the library took no file of the batch"),
        underlying_(std::move(underlying)) {}

  std::exception_ptr underlying_;
};

}  // namespace tolvander
