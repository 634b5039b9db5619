#include "Tests/Support/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "Tests/Support/TemporaryFolder.h"

namespace tolvander::tests {

ProgramResult runProgram(const std::vector<std::string>& arguments) {
  const TemporaryFolder folder;
  const FileURL output = folder / "output";
  const FileURL errors = folder / "errors";
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));  // NOLINT: posix_spawn changes nothing
  }
  pointers.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.path().c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.path().c_str(), O_WRONLY | O_CREAT, 0600);
  pid_t child = 0;
  const int failure = posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) {
    throw std::runtime_error("cannot run " + arguments[0]);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return {.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
          .output = readFile(output),
          .errors = readFile(errors)};
}

}  // namespace tolvander::tests
