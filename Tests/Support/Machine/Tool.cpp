#include "Tests/Support/Machine/Tool.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {

bool toolExists(const std::string& name) {
  const char* const searchPath = std::getenv("PATH");
  std::istringstream folders(searchPath == nullptr ? "" : searchPath);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access((std::filesystem::path(folder) / name).c_str(), X_OK) == 0) {
      return true;
    }
  }
  return false;
}

namespace {

// `whileRunning` is called with the process once that has started.
ToolResult runTool(const std::vector<std::string>& arguments,
                   const std::function<void(pid_t)>& whileRunning) {
  const TemporaryFolder folder;
  const FileURL output = folder / "output";
  const FileURL errors = folder / "errors";

  std::vector<char*> argumentPointers;
  argumentPointers.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    argumentPointers.push_back(const_cast<char*>(argument.c_str()));
  }
  argumentPointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  constexpr int newFile = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.path().c_str(), newFile, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.path().c_str(), newFile, 0600);
  pid_t process = 0;
  const int failure =
      posix_spawnp(&process, argumentPointers.front(), &actions, nullptr, argumentPointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (failure != 0) {
    return {};
  }
  whileRunning(process);
  rusage usage{};
  if (wait4(process, &status, 0, &usage) != process) {
    return {};
  }
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
          .output = readFile(output),
          .errors = readFile(errors),
          .peakResidentBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024};
}

void interruptWhenItMakes(const FileURL& file, int folderWatch, pid_t process) {
  const OwnedDescriptor end(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  std::array<pollfd, 2> events{{{.fd = folderWatch, .events = POLLIN, .revents = 0},
                                {.fd = end.number(), .events = POLLIN, .revents = 0}}};
  while (access(file.path().c_str(), F_OK) != 0) {
    std::array<char, 4096> buffer{};
    if (poll(events.data(), events.size(), -1) < 0 || events[1].revents != 0 ||
        read(folderWatch, buffer.data(), buffer.size()) < 0) {
      return;
    }
  }
  kill(process, SIGINT);
}

}  // namespace

ToolResult runTool(const std::vector<std::string>& arguments) {
  return runTool(arguments, [](pid_t) {});
}

ToolResult runToolInterruptedWhenItMakes(const FileURL& file, const std::vector<std::string>& arguments) {
  const OwnedDescriptor watch(inotify_init1(IN_CLOEXEC));
  const std::string folder = file.deletingLastPathComponent().path();
  if (inotify_add_watch(watch.number(), folder.c_str(), IN_CREATE) < 0) {
    throw std::runtime_error("the folder can't be watched");
  }
  return runTool(arguments, [&](pid_t process) { interruptWhenItMakes(file, watch.number(), process); });
}

}  // namespace tolvander::tests
