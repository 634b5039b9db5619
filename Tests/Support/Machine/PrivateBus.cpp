#include "Tests/Support/Machine/PrivateBus.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <stdexcept>

#include "Tests/Support/Machine/Tool.h"

namespace tolvander::tests {

namespace {

constexpr const char* program = "dbus-daemon";

std::string configuration(const std::string& address) {
  return "<busconfig><type>session</type><listen>" + address +
         "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
         "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";
}

// What the bus prints at its start and end is of no interest. A bus that outlives a test that crashed must
// not keep the output of the test open either: ctest waits until it is closed.
class QuietOutputs {
 public:
  QuietOutputs() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  }
  ~QuietOutputs() { posix_spawn_file_actions_destroy(&actions_); }
  QuietOutputs(const QuietOutputs&) = delete;
  QuietOutputs& operator=(const QuietOutputs&) = delete;

  const posix_spawn_file_actions_t* actions() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// Starts the bus, which prints its address on `output` when it accepts connections.
pid_t startDaemon(const FileURL& configurationFile, int output) {
  const std::string configurationArgument = "--config-file=" + configurationFile.path();
  const std::string addressArgument = "--print-address=" + std::to_string(output);
  const std::array<const char*, 5> arguments = {program, "--nofork", configurationArgument.c_str(),
                                                addressArgument.c_str(), nullptr};
  const QuietOutputs quiet;
  pid_t process = -1;
  if (posix_spawnp(&process, program, quiet.actions(), nullptr, const_cast<char* const*>(arguments.data()),
                   environ) != 0) {
    throw std::runtime_error("the bus can't be started");
  }
  return process;
}

}  // namespace

std::optional<std::string> PrivateBus::reasonAgainst() {
  return toolExists(program) ? std::nullopt : std::optional<std::string>(program);
}

PrivateBus::PrivateBus() { start(); }

PrivateBus::~PrivateBus() { stop(); }

std::string PrivateBus::address() const { return "unix:path=" + (folder_ / "bus").path(); }

void PrivateBus::start() {
  writeFile(folder_ / "bus.conf", configuration(address()));
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    throw std::runtime_error("no pipe");
  }
  process_ = startDaemon(folder_ / "bus.conf", ends[1]);
  close(ends[1]);
  std::array<char, 256> text{};
  const bool isReady = read(ends[0], text.data(), text.size()) > 0;
  close(ends[0]);
  if (!isReady) {
    throw std::runtime_error("the bus ended at once");
  }
}

void PrivateBus::stop() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
    std::filesystem::remove((folder_ / "bus").path());
  }
}

}  // namespace tolvander::tests
