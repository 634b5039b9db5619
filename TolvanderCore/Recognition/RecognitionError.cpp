#include "TolvanderCore/RecognitionError.h"

#include "TolvanderCore/SystemNames.h"

namespace tolvander {

RecognitionError::RecognitionError(Case kind)
    : CaseError(kind, kind == Case::budgetExceeded ? "the recognition budget is used up"
                                                   : "a library resource is unavailable") {}

std::string RecognitionError::describe(const SystemNames& names) const {
  return kind() == Case::budgetExceeded
             ? "The camera check reached its limit. No unchecked files were imported."
             : "Some files couldn’t be compared with originals on " + names.computer +
                   ". No unchecked files were imported.";
}

}  // namespace tolvander
