#include "Shells/CommandLine/Session/TerminalDialogs.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

#include "Shells/CommandLine/Reports/QuestionText.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::shell {

using app::Alert;
using app::Task;

namespace {

// One line from the terminal, without its end. Absent at the end of the input, and when `stop` comes first.
std::optional<std::string> readLine(int input, const CancellationToken& stop) {
  const OwnedDescriptor stopped(eventfd(0, EFD_CLOEXEC));
  const CancellationCallback wake(stop, [&stopped] {
    const std::uint64_t one = 1;
    static_cast<void>(::write(stopped.number(), &one, sizeof one));
  });
  std::string line;
  while (true) {
    std::array<pollfd, 2> events{{{.fd = input, .events = POLLIN, .revents = 0},
                                  {.fd = stopped.number(), .events = POLLIN, .revents = 0}}};
    if (retryOnEINTR([&] { return poll(events.data(), events.size(), -1); }) < 0 || events[1].revents != 0) {
      return std::nullopt;
    }
    char character = 0;
    if (retryOnEINTR([&] { return read(input, &character, 1); }) <= 0) {
      return std::nullopt;
    }
    if (character == '\n') {
      return line;
    }
    line += character;
  }
}

}  // namespace

TerminalDialogs::TerminalDialogs(Answers answers, CancellationToken stop)
    : TerminalDialogs(std::move(answers), std::move(stop), {.input = STDIN_FILENO, .output = STDERR_FILENO}) {
}

TerminalDialogs::TerminalDialogs(Answers answers, CancellationToken stop, Streams streams)
    : answers_(std::move(answers)), stop_(std::move(stop)), streams_(streams) {}

bool TerminalDialogs::canAsk() const { return isatty(streams_.input) == 1 && isatty(streams_.output) == 1; }

void TerminalDialogs::write(const std::string& text) const {
  static_cast<void>(retryOnEINTR([&] { return ::write(streams_.output, text.data(), text.size()); }));
}

TerminalDialogs::Told TerminalDialogs::told(Alert::Subject subject) const {
  switch (subject) {
    case Alert::Subject::change:
      return {.agrees = answers_.agreesToAlerts, .option = answers_.optionForAlerts};
    case Alert::Subject::useOfFolder:
      return {.agrees = answers_.agreesToFolder, .option = answers_.optionForFolder};
    case Alert::Subject::missingLibrary:
      break;
  }
  return {};
}

Task<std::size_t> TerminalDialogs::ask(Alert alert) {
  const Told answer = told(alert.subject);
  if (answer.agrees) {
    co_return std::size_t{0};
  }
  const std::size_t nothing = alert.buttons.size() - 1;
  if (!canAsk()) {
    write(app::unansweredText(alert, answer.option));
    co_return nothing;
  }
  while (true) {
    write(app::questionText(alert));
    auto reading = app::background(
        [input = streams_.input, stop = stop_](const CancellationToken&) { return readLine(input, stop); });
    const std::optional<std::string> line = co_await reading;
    if (!line) {
      write("\n");
      co_return nothing;
    }
    if (const auto chosen = app::chosenButton(alert, *line)) {
      co_return *chosen;
    }
  }
}

Task<std::optional<std::string>> TerminalDialogs::askForText(app::TextPrompt prompt) {
  auto asking = ask(prompt.alert);
  const std::size_t answer = co_await asking;
  co_return answer == 0 ? std::optional(prompt.text) : std::nullopt;
}

Task<std::optional<FileURL>> TerminalDialogs::chooseDirectory(app::DirectoryPanel panel) {
  if (!panel.proposed) {
    co_return std::nullopt;
  }
  auto asking = ask(app::questionAbout(panel, *panel.proposed));
  const std::size_t answer = co_await asking;
  co_return answer == 0 ? panel.proposed : std::nullopt;
}

}  // namespace tolvander::shell
