#include "TolvanderApp/Presentation/LibraryQuestion.h"

namespace tolvander::app {

Alert newLibraryQuestion(const FileURL& folder) {
  return {.style = Alert::Style::informational,
          .message = "Make a photo library in “" + folder.path() + "”?",
          .informativeText = "Photos and videos from your cameras will be kept there as ordinary files.",
          .buttons = {"Make Photo Library", "Cancel"},
          .subject = Alert::Subject::useOfFolder};
}

Alert replacedLibraryQuestion(const FileURL& folder) {
  return {.style = Alert::Style::warning,
          .message = "The photo library in “" + folder.path() +
                     "” is not here: its disk may not be connected. Make a new, empty one in its place?",
          .informativeText = "Connect the disk instead, if the photo library is on one.",
          .buttons = {"Make New Photo Library", "Cancel"},
          .subject = Alert::Subject::missingLibrary};
}

}  // namespace tolvander::app
