#pragma once

#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/Doubles/TestApplication.h"
#include "TolvanderApp/SettingsWindow.h"

namespace tolvander::tests {

// A window that is only its state. What is asked of it joins the calls of the application.
class TestWindow final : public app::SettingsWindow {
 public:
  explicit TestWindow(TestApplication& application) : application_(application) {}

  bool visible = false;
  bool miniaturized = false;
  bool key = false;
  bool main = false;
  bool hasSheet = false;
  bool takesFocus = true;  // when it is brought to the front of an active program
  bool hidesOnDeactivate = true;
  std::string title;
  std::vector<app::SettingsContents> shown;

  // What the user does. The window is still visible when its observers are called.
  void close() {
    for (const auto& observer : std::list(observers_)) {
      observer();
    }
    visible = key = main = false;
  }

  bool isVisible() override { return visible; }
  bool isMiniaturized() override { return miniaturized; }
  bool isKey() override { return key; }
  bool isMain() override { return main; }
  bool hasAttachedSheet() override { return hasSheet; }
  void setHidesOnDeactivate(bool hides) override { hidesOnDeactivate = hides; }
  void makeKeyAndOrderFront() override {
    application_.calls.emplace_back("makeKeyAndOrderFront");
    visible = true;
    key = main = takesFocus;
  }
  void orderFrontRegardless() override { application_.calls.emplace_back("orderFrontRegardless"); }
  app::Subscription observeWillClose(std::function<void()> observer) override {
    const auto place = observers_.insert(observers_.end(), std::move(observer));
    return app::Subscription([this, place] { observers_.erase(place); });
  }
  void show(const app::SettingsContents& contents) override { shown.push_back(contents); }
  void setTitle(const std::string& newTitle) override { title = newTitle; }
  void clearKeyboardFocus() override { application_.calls.emplace_back("clearKeyboardFocus"); }
  void fitToContents() override { application_.calls.emplace_back("fitToContents"); }

  std::size_t observerCount() const { return observers_.size(); }

 private:
  TestApplication& application_;
  std::list<std::function<void()>> observers_;
};

}  // namespace tolvander::tests
