#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/TaskScope.h"
#include "TolvanderApp/Platform/AlertPanel.h"
#include "TolvanderApp/Platform/Application.h"
#include "TolvanderApp/Platform/Clipboard.h"
#include "TolvanderApp/Platform/FileViewer.h"
#include "TolvanderCore/DiagnosticLog.h"

namespace tolvander::app {

// The log's files; absent where they can't be listed.
using LogFiles = std::optional<std::vector<FileURL>>;

// What the panel shows, without what its buttons do. `supportAddress` is where reports go.
AlertPanel bugReportPanel(const LogFiles& files, const std::string& supportAddress);

// Tells the user where to report a problem, and where the log files are that help with it. Nothing is sent.
// Main thread only. A program has one.
class BugReportController {
 public:
  // What it uses, which outlives it.
  struct Surroundings {
    MainThread& mainThread;
    Application& application;
    AlertPanels& panels;
    FileViewer& fileViewer;
    Clipboard& clipboard;
  };

  // `supportAddress` is where reports go.
  BugReportController(Surroundings surroundings, std::shared_ptr<DiagnosticLog> log,
                      std::string supportAddress);

  // Shows the panel, on the key window where that has no other sheet. Records `reportOpened`. Does nothing
  // while the panel is open.
  void show();
  bool isPresenting() const { return isPresenting_; }

 private:
  Task<> present();
  static Task<LogFiles> listFiles(std::shared_ptr<DiagnosticLog> log);
  AlertPanel panel(const LogFiles& files);
  std::shared_ptr<Window> windowForSheet();

  const Surroundings surroundings_;
  const std::shared_ptr<DiagnosticLog> log_;
  const std::string supportAddress_;
  bool isPresenting_ = false;
  TaskScope tasks_;  // last: its tasks use everything above
};

}  // namespace tolvander::app
