#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderCore/Foundation/FileURL.h"

// Questions on a terminal, in the words that a screen would show.
namespace tolvander::app {

// The question, its explanation and the numbered buttons, ending where the answer is typed:
//   Forget CARD?
//   This forgets …
//   1  Forget Camera
//   2  Cancel
//   Answer [2]:
std::string questionText(const Alert& alert);

// Which button a line of text chooses: its number, or its words without regard to case; nothing but blanks
// chooses the last. Absent for any other text.
std::optional<std::size_t> chosenButton(const Alert& alert, std::string_view line);

// Printed where no person can be asked, with a line end: the question, what was taken for the answer, and
// which option answers it. An empty option is none.
std::string unansweredText(const Alert& alert, std::string_view option);

// The panel as a question about one folder.
Alert questionAbout(const DirectoryPanel& panel, const FileURL& folder);

}  // namespace tolvander::app
