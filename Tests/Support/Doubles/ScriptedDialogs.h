#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Platform/Dialogs.h"

namespace tolvander::tests {

// A user who answers as the test says, and whom questions were put. Without an answer the last button counts,
// the one that changes nothing.
class ScriptedDialogs final : public app::Dialogs {
 public:
  std::deque<std::size_t> answers;               // for alerts: the button
  std::deque<std::optional<std::string>> texts;  // for prompts; absent: cancelled
  std::deque<std::optional<FileURL>> folders;    // for panels; absent: cancelled
  std::function<void()> whileOpen;               // what happens before a question is answered
  std::chrono::nanoseconds timeToAnswer{0};      // how long a question stays open; 0: not even one turn

  std::vector<app::Alert> alerts;
  std::vector<app::TextPrompt> prompts;
  std::vector<app::DirectoryPanel> panels;

  app::Task<std::size_t> ask(app::Alert alert) override {
    const std::size_t answer = next(answers).value_or(alert.buttons.size() - 1);
    alerts.push_back(std::move(alert));
    auto thinking = think();
    co_await thinking;
    co_return answer;
  }
  app::Task<std::optional<std::string>> askForText(app::TextPrompt prompt) override {
    prompts.push_back(std::move(prompt));
    auto thinking = think();
    co_await thinking;
    co_return next(texts).value_or(std::nullopt);
  }
  app::Task<std::optional<FileURL>> chooseDirectory(app::DirectoryPanel panel) override {
    panels.push_back(std::move(panel));
    auto thinking = think();
    co_await thinking;
    co_return next(folders).value_or(std::nullopt);
  }

 private:
  app::Task<> think() {
    if (whileOpen) {
      whileOpen();
    }
    if (timeToAnswer > std::chrono::nanoseconds(0)) {
      auto waiting = app::sleepOrCancellation(timeToAnswer);
      co_await waiting;
    }
  }

  template <typename Answer>
  static std::optional<Answer> next(std::deque<Answer>& queue) {
    if (queue.empty()) {
      return std::nullopt;
    }
    Answer answer = std::move(queue.front());
    queue.pop_front();
    return answer;
  }
};

}  // namespace tolvander::tests
