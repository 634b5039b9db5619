#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

// A question with buttons. All its words come from the application.
struct Alert {
  enum class Style { informational, warning, critical };

  // What the user agrees to. A program that was told answers before it asks, as by options of its command
  // line, chooses the answer by the subject.
  enum class Subject {
    change,         // of a camera's files, the library's items or the settings
    useOfFolder,    // for cameras or the photo library
    missingLibrary  // whether a new library takes the place of a missing one: only a person may answer
  };

  Style style = Style::warning;
  std::string message;
  std::string informativeText;
  std::vector<std::string> buttons;  // the first is what the question is about, the last changes nothing
  Subject subject = Subject::change;

  friend bool operator==(const Alert&, const Alert&) = default;
};

// An alert with one field for text.
struct TextPrompt {
  Alert alert;
  std::string placeholder;
  std::string text;  // what the field holds at first

  friend bool operator==(const TextPrompt&, const TextPrompt&) = default;
};

// A panel in which the user chooses one folder.
struct DirectoryPanel {
  std::string title;
  std::string message;
  std::string prompt;                 // the words on the button that chooses
  FileURL directory;                  // where it begins
  std::optional<FileURL> proposed{};  // a folder that the user has named already, and only confirms

  friend bool operator==(const DirectoryPanel&, const DirectoryPanel&) = default;
};

// Asks the user. Everything belongs to the main thread; a flow waits for the answer, and others may run
// meanwhile, so whatever was true before has to be looked at again. Nothing here fails: where nobody can be
// asked, the answer is the one that changes nothing.
class Dialogs {
 public:
  virtual ~Dialogs() = default;

  // The place of the chosen button in the alert's list.
  virtual Task<std::size_t> ask(Alert alert) = 0;
  // The field's text where the first button was chosen; absent for any other.
  virtual Task<std::optional<std::string>> askForText(TextPrompt prompt) = 0;
  // Absent when the panel was cancelled.
  virtual Task<std::optional<FileURL>> chooseDirectory(DirectoryPanel panel) = 0;
};

}  // namespace tolvander::app
