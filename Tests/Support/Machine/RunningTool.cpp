#include "Tests/Support/Machine/RunningTool.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tolvander::tests {

namespace {

constexpr std::chrono::seconds longestWait(120);

}  // namespace

RunningTool::RunningTool(const std::vector<std::string>& arguments) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  output_ = OwnedDescriptor(ends[0]);
  const OwnedDescriptor input(ends[1]);

  std::vector<char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, input.number(), STDOUT_FILENO);
  constexpr int newFile = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors_.path().c_str(), newFile, 0600);
  const int failure = posix_spawnp(&process_, pointers.front(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) {
    throw std::runtime_error(arguments.front() + " can't be started");
  }
}

RunningTool::~RunningTool() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

// Empty when the output has ended.
std::string RunningTool::nextLine() {
  const auto deadline = std::chrono::steady_clock::now() + longestWait;
  std::size_t end = 0;
  while ((end = read_.find('\n')) == std::string::npos) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd event{.fd = output_.number(), .events = POLLIN, .revents = 0};
    if (left.count() <= 0 || poll(&event, 1, static_cast<int>(left.count())) <= 0) {
      fail("it says nothing any more");
    }
    std::array<char, 4096> buffer{};
    const ssize_t size = read(output_.number(), buffer.data(), buffer.size());
    if (size <= 0) {
      break;
    }
    read_.append(buffer.data(), static_cast<std::size_t>(size));
  }
  std::string line = read_.substr(0, end == std::string::npos ? end : end + 1);
  read_.erase(0, line.size());
  passed_ += line;
  return line;
}

std::string RunningTool::waitForLine(std::string_view part) {
  for (std::string line = nextLine(); !line.empty(); line = nextLine()) {
    if (line.find(part) != std::string::npos) {
      return line.substr(0, line.find('\n'));
    }
  }
  fail("its output ended without “" + std::string(part) + "”");
}

void RunningTool::fail(const std::string& problem) const {
  throw std::runtime_error(problem + " after:\n" + passed_ + read_ + errors());
}

void RunningTool::send(int signal) const { kill(process_, signal); }

int RunningTool::waitForEnd() {
  while (!nextLine().empty()) {
  }
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

long RunningTool::voluntarySwitches() const {
  long switches = 0;
  for (const auto& task :
       std::filesystem::directory_iterator("/proc/" + std::to_string(process_) + "/task")) {
    std::ifstream status(task.path() / "status");
    for (std::string word; status >> word;) {
      if (word == "voluntary_ctxt_switches:") {
        long count = 0;
        status >> count;
        switches += count;
      }
    }
  }
  return switches;
}

}  // namespace tolvander::tests
