#include "Tests/Support/Tool.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "Tests/Support/TemporaryFolder.h"

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

ToolResult runTool(const std::vector<std::string>& arguments) {
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
  if (failure != 0 || waitpid(process, &status, 0) != process) {
    return {};
  }
  return {.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
          .output = readFile(output),
          .errors = readFile(errors)};
}

}  // namespace tolvander::tests
