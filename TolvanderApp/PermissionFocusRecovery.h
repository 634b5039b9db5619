#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "TolvanderApp/Concurrency/TaskScope.h"
#include "TolvanderApp/Platform/Application.h"
#include "TolvanderCore/DiagnosticLog.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// Puts the window that asked for a permission back in front once the system's prompt has gone: the system
// gives the focus to another program then, where the user would look for the window in vain.
//
// A request begins before its prompt and is completed after it. From 0.1 s after that, and then every 0.2 s,
// the program is activated and the window brought to the front, until both have the focus, six times at most.
// One request counts at a time: a new one replaces the one before it. Main thread only.
class PermissionFocusRecovery {
 public:
  // Records one event of the log.
  using Record = std::function<void(DiagnosticLog::Event, const DiagnosticLog::Metrics&)>;

  // What has come of it, as the log records it.
  enum class Result { focused = 0, notWanted = 1, givenUp = 2 };

  // `application` and `mainThread` outlive the object.
  PermissionFocusRecovery(Application& application, MainThread& mainThread, Record record);

  // `window` asked, and is kept from vanishing behind the prompt. Null where no window did: then there is
  // nothing to recover.
  UUID begin(const std::shared_ptr<Window>& window);
  // The prompt of this request has gone. Does nothing for any request but the last, and where the window no
  // longer exists. Records `permissionFocusRecovery` for each attempt and for the result.
  void complete(const UUID& requestID);

 private:
  Task<> recover();
  Task<Result> focus();
  bool isWanted() const;
  bool hasFocus() const;
  void attempt(int number);

  Application& application_;
  const Record record_;
  std::weak_ptr<Window> window_;
  std::optional<UUID> requestID_;
  std::optional<TaskHandle> recoveryTask_;
  TaskScope tasks_;  // last: its tasks use everything above
};

}  // namespace tolvander::app
