#pragma once

#include <functional>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander {

// A comparison with the library that came to no verdict.
class RecognitionError final : public Error {
 public:
  enum class Case { budgetExceeded, resourceUnavailable };

  explicit RecognitionError(Case kind);

  Case kind() const { return kind_; }

  std::string_view domain() const override { return "TolvanderCore.RecognitionError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind_); }
  std::optional<std::string> description() const override;

  friend bool operator==(const RecognitionError& left, const RecognitionError& right) {
    return left.kind_ == right.kind_;
  }

 private:
  Case kind_;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::RecognitionError> {
  std::size_t operator()(const tolvander::RecognitionError& error) const noexcept {
    return std::hash<tolvander::RecognitionError::Case>()(error.kind());
  }
};
