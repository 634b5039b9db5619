#include "Benchmarks/Measuring.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <stdexcept>
#include <string>

namespace tolvander::benchmarks {

namespace {

// A line of /proc/self/status ("VmRSS", "VmHWM"), in MiB.
double memoryFigure(const std::string& name) {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == name + ":") {
      double kibibytes = 0;
      status >> kibibytes;
      return kibibytes / 1024;
    }
  }
  throw std::runtime_error("no " + name + " in /proc/self/status");
}

double growthDuring(const std::function<void()>& work) {
  malloc_trim(0);  // what the parent had freed would otherwise be reused and not be seen
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew, proc(5)
  const double before = memoryFigure("VmRSS");
  work();
  return memoryFigure("VmHWM") - before;
}

}  // namespace

double peakMebibytes(const std::function<void()>& work) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    throw std::runtime_error("no pipe");
  }
  const pid_t child = fork();
  if (child == 0) {
    const double growth = growthDuring(work);
    _exit(write(ends[1], &growth, sizeof growth) == sizeof growth ? 0 : 1);
  }
  double growth = 0;
  int status = 0;
  const bool isRead = read(ends[0], &growth, sizeof growth) == sizeof growth;
  close(ends[0]);
  close(ends[1]);
  if (waitpid(child, &status, 0) != child || status != 0 || !isRead) {
    throw std::runtime_error("the measured work failed");
  }
  return growth;
}

}  // namespace tolvander::benchmarks
