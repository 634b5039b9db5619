#pragma once

#include <cerrno>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/Volumes.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

// Volumes that come and go as the test says. Observers are called at once.
class FakeVolumes final : public app::Volumes {
 public:
  // The values of a card in a reader.
  static app::VolumeValues card(std::optional<std::string> name = std::nullopt,
                                std::optional<std::string> uuid = std::nullopt) {
    app::VolumeValues values;
    values.isInternal = false;
    values.isLocal = true;
    values.isRemovable = true;
    values.isEjectable = false;
    values.name = std::move(name);
    values.uuid = std::move(uuid);
    return values;
  }

  void mount(const FileURL& url, std::optional<app::VolumeValues> values = card()) {
    volumes_.push_back({url, std::move(values)});
    tell(url, &Observers::onMount);
  }

  void unmount(const FileURL& url) {
    takeAway(url);
    tell(url, &Observers::onUnmount);
  }

  // Removes the volume without calling the observers.
  void takeAway(const FileURL& url) {
    std::erase_if(volumes_, [&](const app::MountedVolume& volume) { return volume.url == url; });
  }

  bool isUnreadable = false;           // the list of mounted volumes can't be read
  std::function<void()> beforeAnswer;  // runs before each list of mounted volumes is given
  // The errors of the next lists, after so many were given.
  mutable std::deque<std::exception_ptr> failures;
  mutable int answersBeforeFailure = 0;

  std::size_t observerCount() const { return observers_.size(); }

  std::vector<app::MountedVolume> mountedVolumes() const override {
    if (const auto act = beforeAnswer) {  // a copy, because it may put another in its place
      act();
    }
    refuseIfUnreadable();
    if (!failures.empty() && answersBeforeFailure-- <= 0) {
      const auto failure = std::move(failures.front());
      failures.pop_front();
      std::rethrow_exception(failure);
    }
    return volumes_;
  }

  app::Subscription observeMounts(Observer onMount, Observer onUnmount) override {
    refuseIfUnreadable();
    const auto place =
        observers_.insert(observers_.end(), Observers{std::move(onMount), std::move(onUnmount)});
    return app::Subscription([this, place] { observers_.erase(place); });
  }

 private:
  struct Observers {
    Observer onMount;
    Observer onUnmount;
  };

  void refuseIfUnreadable() const {
    if (isUnreadable) {
      throw PosixError(EMFILE, "read", FileURL("/proc/self/mountinfo"));
    }
  }

  void tell(const FileURL& url, Observer Observers::*which) const {
    const std::list<Observers> observers = observers_;  // one may end its own subscription
    for (const Observers& observer : observers) {
      (observer.*which)(url);
    }
  }

  std::vector<app::MountedVolume> volumes_;
  std::list<Observers> observers_;
};

}  // namespace tolvander::tests
