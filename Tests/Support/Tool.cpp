#include "Tests/Support/Tool.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "Tests/Support/TemporaryFolder.h"

namespace tolvander::tests {

std::optional<std::string> outputOfTool(const std::vector<std::string>& command) {
  const TemporaryFolder folder;
  const FileURL output = folder / "stdout";
  const FileURL errors = folder / "stderr";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  constexpr int create = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.path().c_str(), create, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.path().c_str(), create, 0600);
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  pid_t child = 0;
  const int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT) {
    return std::nullopt;
  }
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), command[0]);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error(command[0] + " failed: " + readFile(errors));
  }
  return readFile(output);
}

}  // namespace tolvander::tests
