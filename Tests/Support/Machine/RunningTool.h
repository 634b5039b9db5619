#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {

// A program that runs beside the test, with nothing on its standard input. It ends with this object.
class RunningTool {
 public:
  // Starts it, from the search path. Throws std::runtime_error like all operations here.
  explicit RunningTool(const std::vector<std::string>& arguments);
  ~RunningTool();
  RunningTool(const RunningTool&) = delete;
  RunningTool& operator=(const RunningTool&) = delete;

  pid_t process() const { return process_; }

  // Reads on until a line of its output that contains `part`, and returns that line without its end. The next
  // wait begins behind it. Throws, with all that was printed, when the output ends before or the line doesn't
  // come in two minutes.
  std::string waitForLine(std::string_view part);

  void send(int signal) const;

  // Reads the output to its end. Its exit status; -1 when it died of a signal.
  int waitForEnd();

  // Lines from the first to the one that was waited for last, or to the end.
  const std::string& output() const { return passed_; }
  std::string errors() const { return readFile(errors_); }

  // How often its threads have gone to sleep so far: an idle program doesn't.
  long voluntarySwitches() const;

 private:
  std::string nextLine();
  [[noreturn]] void fail(const std::string& problem) const;

  TemporaryFolder folder_;
  const FileURL errors_ = folder_ / "errors";
  pid_t process_ = 0;
  OwnedDescriptor output_;
  std::string read_;  // and not yet passed
  std::string passed_;
};

}  // namespace tolvander::tests
