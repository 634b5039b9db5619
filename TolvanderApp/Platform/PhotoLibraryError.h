#pragma once

#include <cstddef>
#include <functional>

#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

// A failure of the work with the photo library, as the user is told of it.
class PhotoLibraryError final : public Error {
 public:
  enum class Case {
    accessDenied,
    albumCouldNotBeCreated,
    changeFailed,
    inconsistentChangeResult  // whether the change was made can't be known
  };

  explicit PhotoLibraryError(Case kind);

  Case kind() const { return kind_; }

  std::string_view domain() const override { return "TolvanderApp.PhotoLibraryError"; }
  std::int64_t code() const override { return static_cast<std::int64_t>(kind_); }
  std::optional<std::string> description() const override;

  friend bool operator==(const PhotoLibraryError& left, const PhotoLibraryError& right) {
    return left.kind_ == right.kind_;
  }

 private:
  Case kind_;
};

}  // namespace tolvander::app

template <>
struct std::hash<tolvander::app::PhotoLibraryError> {
  std::size_t operator()(const tolvander::app::PhotoLibraryError& error) const noexcept {
    return std::hash<tolvander::app::PhotoLibraryError::Case>()(error.kind());
  }
};
