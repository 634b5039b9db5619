#pragma once

#include <functional>
#include <optional>
#include <string>

namespace tolvander::app {

// What a program that updates itself was built with.
struct UpdateConfiguration {
  std::optional<std::string> publicKey;  // that updates are signed with (SUPublicEDKey)
  std::optional<std::string> feedURL;    // where updates are listed (SUFeedURL)

  // Without both there are no updates, and the program works all the same.
  bool isComplete() const { return publicKey.has_value() && !publicKey->empty() && feedURL.has_value(); }
};

// What an updater reports to. Called on the main thread.
class UpdaterDelegate {
 public:
  virtual ~UpdaterDelegate() = default;

  // Whether the program reminds the user of an update that was found on schedule, instead of a window of the
  // updater's that appears in the middle of other work.
  virtual bool supportsGentleScheduledUpdateReminders() const = 0;
  // Whether the updater shows an update itself that was found on schedule.
  virtual bool shouldHandleShowingScheduledUpdate() const = 0;
  // An update is on offer. `version` is the text that people read.
  virtual void willHandleShowingUpdate(std::string version, bool isUserInitiated) = 0;
  // The user has looked at the update.
  virtual void didReceiveUserAttention() = 0;
  // The update was installed, skipped or put off.
  virtual void willFinishUpdateSession() = 0;
  // The updater is about to start the program anew. Returns true where it has to wait; `relaunch` is called
  // then when it may.
  virtual bool shouldPostponeRelaunch(std::function<void()> relaunch) = 0;
};

// Looks for updates of the program. Belongs to the main thread; no operation waits for an answer.
class Updater {
 public:
  virtual ~Updater() = default;

  // The user's choice.
  virtual bool automaticallyChecksForUpdates() = 0;
  // Shows nothing, but tells the delegate what it finds.
  virtual void checkForUpdatesInBackground() = 0;
  // The user has asked for it: shows what it finds, also nothing.
  virtual void checkForUpdates() = 0;
};

}  // namespace tolvander::app
