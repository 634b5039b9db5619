#pragma once

#include <functional>
#include <string>

#include "TolvanderCore/Foundation/CaseError.h"
#include "TolvanderCore/Foundation/SystemDescribed.h"

namespace tolvander {

enum class RecognitionErrorCase { budgetExceeded, resourceUnavailable };

// A search of the library that left files undecided.
class RecognitionError final : public CaseError<RecognitionErrorCase>, public SystemDescribed {
 public:
  explicit RecognitionError(Case kind);

  std::string_view domain() const override { return "TolvanderCore.RecognitionError"; }
  std::string describe(const SystemNames& names) const override;

  friend bool operator==(const RecognitionError& left, const RecognitionError& right) {
    return left.kind() == right.kind();
  }
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::RecognitionError> {
  std::size_t operator()(const tolvander::RecognitionError& error) const noexcept {
    return std::hash<tolvander::RecognitionError::Case>()(error.kind());
  }
};
