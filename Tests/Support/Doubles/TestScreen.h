#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Concurrency/Callback.h"
#include "TolvanderApp/Platform/AlertPanel.h"
#include "TolvanderApp/Platform/Clipboard.h"
#include "TolvanderApp/Platform/FileViewer.h"

namespace tolvander::tests {

// A panel that stays open until the test presses a button.
class OpenPanels final : public app::AlertPanels {
 public:
  std::vector<app::AlertPanel> shown;

  bool isOpen() const { return answer_.has_value(); }
  // What the user does. Gives the title that the button has then.
  std::string press(std::size_t button) {
    const app::AlertPanelButton& pressed = shown.back().buttons.at(button);
    if (pressed.action) {
      return pressed.action();
    }
    (*std::exchange(answer_, std::nullopt))(button);
    return pressed.title;
  }

  // The panel goes without an answer, as with the window that it belongs to.
  void drop() { answer_ = std::nullopt; }

  app::Task<std::size_t> run(app::AlertPanel panel) override {
    shown.push_back(std::move(panel));
    auto answer =
        app::callback<std::size_t>([this](const app::Callback<std::size_t>& ended) { answer_ = ended; });
    co_return co_await answer;
  }

 private:
  std::optional<app::Callback<std::size_t>> answer_;
};

class RecordedFileViewer final : public app::FileViewer {
 public:
  std::vector<std::vector<FileURL>> revealed;

  void reveal(const std::vector<FileURL>& files) override { revealed.push_back(files); }
};

class TestClipboard final : public app::Clipboard {
 public:
  std::string text = "what was copied before";

  void setText(const std::string& newText) override { text = newText; }
};

}  // namespace tolvander::tests
