#pragma once

#include <exception>
#include <utility>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander {

enum class MediaImportCommitFailureCase { definiteFailure };

// A failed commit after which the library certainly holds no file of the batch. After any other failure of a
// commit the outcome is unknown, and the batch's pending marks must stay.
class MediaImportCommitFailure final : public CaseError<MediaImportCommitFailureCase> {
 public:
  // `underlying` is the failure that the import throws to its caller; not null.
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
