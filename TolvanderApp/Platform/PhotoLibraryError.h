#pragma once

#include <cstddef>
#include <functional>

#include "TolvanderCore/Foundation/CaseError.h"

namespace tolvander::app {

enum class PhotoLibraryErrorCase {
  accessDenied,
  albumCouldNotBeCreated,
  changeFailed,
  inconsistentChangeResult  // whether the change was made can't be known
};

// A failure of the work with the photo library, with a description for the user.
class PhotoLibraryError final : public CaseError<PhotoLibraryErrorCase> {
 public:
  explicit PhotoLibraryError(Case kind);

  std::string_view domain() const override { return "TolvanderApp.PhotoLibraryError"; }
  std::optional<std::string> description() const override;

  friend bool operator==(const PhotoLibraryError& left, const PhotoLibraryError& right) {
    return left.kind() == right.kind();
  }
};

}  // namespace tolvander::app

template <>
struct std::hash<tolvander::app::PhotoLibraryError> {
  std::size_t operator()(const tolvander::app::PhotoLibraryError& error) const noexcept {
    return std::hash<tolvander::app::PhotoLibraryError::Case>()(error.kind());
  }
};
