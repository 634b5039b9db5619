#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {

// A program that runs beside the test, with an empty standard input. It ends with this object.
class RunningTool {
 public:
  // Starts a program of the search path. Throws std::runtime_error, like all operations here.
  explicit RunningTool(const std::vector<std::string>& arguments);
  ~RunningTool();
  RunningTool(const RunningTool&) = delete;
  RunningTool& operator=(const RunningTool&) = delete;

  pid_t process() const { return process_; }

  // Reads its output up to a line that contains `part`, and returns that line without the line feed. The
  // next call continues after it. Throws, with all of the output, if the output ends before, or after two
  // minutes.
  std::string waitForLine(std::string_view part);

  void send(int signal) const;

  // Reads the rest of the output. Returns the exit status; -1 if a signal ended the program.
  int waitForEnd();

  // The lines up to the last one that was waited for, or up to the end.
  const std::string& output() const { return passed_; }
  std::string errors() const { return readFile(errors_); }

  // The number of times that its threads went to sleep; stays the same while the program is idle.
  long voluntarySwitches() const;

 private:
  std::string nextLine();
  [[noreturn]] void fail(const std::string& problem) const;

  TemporaryFolder folder_;
  const FileURL errors_ = folder_ / "errors";
  pid_t process_ = 0;
  OwnedDescriptor output_;
  std::string read_;  // but not yet returned
  std::string passed_;
};

}  // namespace tolvander::tests
