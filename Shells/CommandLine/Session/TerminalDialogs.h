#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::shell {

// Asks at the terminal, in the words of the screens. A worker waits for the line, so that everything else
// goes on meanwhile.
//
// Where the options of the command have answered already, no question is asked. Without a terminal, at the
// end of the input, and when the command is being stopped the answer is the one that changes nothing, and the
// user is told which option would have given the other.
class TerminalDialogs final : public app::Dialogs {
 public:
  // What the options say.
  struct Answers {
    bool agreesToAlerts = false;    // the first button of every alert about a change
    std::string optionForAlerts{};  // the option that would have said so: "--yes"
    bool agreesToFolder = false;    // a folder may be used, for a camera or the photo library
    std::string optionForFolder = "--yes";
  };

  // Open descriptors of the caller's, where answers are read and questions are put.
  struct Streams {
    int input;
    int output;
  };

  TerminalDialogs(Answers answers, CancellationToken stop);
  TerminalDialogs(Answers answers, CancellationToken stop, Streams streams);

  app::Task<std::size_t> ask(app::Alert alert) override;
  app::Task<std::optional<std::string>> askForText(app::TextPrompt prompt) override;
  // Asks whether the proposed folder may be used. Cancelled where none is.
  app::Task<std::optional<FileURL>> chooseDirectory(app::DirectoryPanel panel) override;

 private:
  // What the options say to questions of one subject.
  struct Told {
    bool agrees = false;
    std::string option{};  // the one that agrees; empty where none does
  };

  Told told(app::Alert::Subject subject) const;
  bool canAsk() const;
  void write(const std::string& text) const;

  const Answers answers_;
  const CancellationToken stop_;
  const Streams streams_;
};

}  // namespace tolvander::shell
