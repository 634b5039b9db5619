#include "TolvanderApp/Presentation/LibraryQuestion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tolvander::app {
namespace {

TEST(LibraryQuestion, asksWhetherTheLibraryMayBeMade) {
  const Alert asked = newLibraryQuestion(FileURL("/p/Tolvander"));
  EXPECT_EQ(asked.message, "Make a photo library in “/p/Tolvander”?");
  EXPECT_EQ(asked.informativeText,
            "Photos and videos from your cameras will be kept there as ordinary files.");
  EXPECT_EQ(asked.buttons, (std::vector<std::string>{"Make Photo Library", "Cancel"}));
  EXPECT_EQ(asked.subject, Alert::Subject::useOfFolder);
}

TEST(LibraryQuestion, saysThatALibraryIsKnownBeforeAnotherOneIsMadeInItsPlace) {
  const Alert asked = replacedLibraryQuestion(FileURL("/p/Tolvander"));
  EXPECT_EQ(
      asked.message,
      "The photo library in “/p/Tolvander” is not here: its disk may not be connected. Make a new, empty one "
      "in its place?");
  EXPECT_EQ(asked.informativeText, "Connect the disk instead, if the photo library is on one.");
  EXPECT_EQ(asked.buttons, (std::vector<std::string>{"Make New Photo Library", "Cancel"}));
  EXPECT_EQ(asked.subject, Alert::Subject::missingLibrary);
}

}  // namespace
}  // namespace tolvander::app
