#include "TolvanderApp/Platform/PhotoLibraryError.h"

#include <gtest/gtest.h>

#include <unordered_set>

namespace tolvander::app {
namespace {

using Case = PhotoLibraryError::Case;

TEST(PhotoLibraryError, hasItsWordsForTheUser) {
  EXPECT_EQ(PhotoLibraryError(Case::accessDenied).description(), "Photos access was not granted.");
  EXPECT_EQ(PhotoLibraryError(Case::albumCouldNotBeCreated).description(),
            "The selected Photos album could not be created.");
  EXPECT_EQ(PhotoLibraryError(Case::changeFailed).description(),
            "Photos could not complete the requested change.");
  EXPECT_EQ(PhotoLibraryError(Case::inconsistentChangeResult).description(),
            "Photos returned an uncertain change result. Choose Check Photos to review it before importing "
            "again.");
}

TEST(PhotoLibraryError, isToldApartByItsCase) {
  EXPECT_EQ(PhotoLibraryError(Case::changeFailed), PhotoLibraryError(Case::changeFailed));
  EXPECT_FALSE(PhotoLibraryError(Case::changeFailed) == PhotoLibraryError(Case::accessDenied));
  const std::unordered_set<PhotoLibraryError> errors{PhotoLibraryError(Case::accessDenied),
                                                     PhotoLibraryError(Case::changeFailed),
                                                     PhotoLibraryError(Case::accessDenied)};
  EXPECT_EQ(errors.size(), 2U);
  EXPECT_EQ(PhotoLibraryError(Case::accessDenied).code(), 0);
  EXPECT_EQ(PhotoLibraryError(Case::inconsistentChangeResult).code(), 3);
}

}  // namespace
}  // namespace tolvander::app
