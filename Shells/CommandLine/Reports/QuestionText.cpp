#include "Shells/CommandLine/Reports/QuestionText.h"

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Foundation/ASCII.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

std::string questionText(const Alert& alert) {
  std::string text = printable(alert.message) + "\n" + printable(alert.informativeText) + "\n";
  for (std::size_t index = 0; index < alert.buttons.size(); ++index) {
    text += std::to_string(index + 1) + "  " + printable(alert.buttons[index]) + "\n";
  }
  return text + "Answer [" + std::to_string(alert.buttons.size()) + "]: ";
}

std::optional<std::size_t> chosenButton(const Alert& alert, std::string_view line) {
  const std::string answer = lowercasedASCII(trimmingWhitespaceAndNewlines(line));
  if (answer.empty()) {
    return alert.buttons.size() - 1;
  }
  for (std::size_t index = 0; index < alert.buttons.size(); ++index) {
    if (answer == std::to_string(index + 1) || answer == lowercasedASCII(alert.buttons[index])) {
      return index;
    }
  }
  return std::nullopt;
}

std::string unansweredText(const Alert& alert, std::string_view option) {
  return printable(alert.message) + " Nobody can be asked here, so the answer is “" +
         printable(alert.buttons.back()) + "”." +
         (option.empty()
              ? " No option answers it; run the command at a terminal.\n"
              : " Pass " + std::string(option) + " for “" + printable(alert.buttons.front()) + "”.\n");
}

Alert questionAbout(const DirectoryPanel& panel, const FileURL& folder) {
  return {.style = Alert::Style::informational,
          .message = "Use “" + folder.path() + "” as a camera?",
          .informativeText = panel.message,
          .buttons = {panel.prompt, "Cancel"},
          .subject = Alert::Subject::useOfFolder};
}

}  // namespace tolvander::app
