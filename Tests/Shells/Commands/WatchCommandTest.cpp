#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {
namespace {

// The program while it runs.
class RunningProgram {
 public:
  explicit RunningProgram(std::vector<std::string> arguments) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
    output_ = OwnedDescriptor(ends[0]);
    const OwnedDescriptor input(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, input.number(), STDOUT_FILENO);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const int failure = posix_spawn(&process_, pointers.front(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) {
      throw std::runtime_error("it can't be started");
    }
  }

  ~RunningProgram() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
  }
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  pid_t process() const { return process_; }
  const std::string& output() const { return text_; }

  // Reads on until the output has the text; false where it ends before.
  bool waitFor(const std::string& part) {
    while (!contains(text_, part)) {
      std::array<char, 4096> buffer{};
      const ssize_t size = read(output_.number(), buffer.data(), buffer.size());
      if (size <= 0) {
        return false;
      }
      text_.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return true;
  }

  // Its exit status; -1 when it died of a signal.
  int endAt(int signal) {
    kill(process_, signal);
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = 0;
  OwnedDescriptor output_;
  std::string text_;
};

class WatchCommandTest : public CommandLine {
 protected:
  WatchCommandTest() { writeSampleCard(card, {.photos = 2, .videos = 0}); }

  const FileURL card = folder / "CARD";
};

TEST_F(WatchCommandTest, completesSetupAndSyncsASavedCameraThatIsHere) {
  ASSERT_EQ(run({"cameras", "add", card.path()}).status, 0);
  RunningProgram watch(commandLine({"watch", "--yes"}));
  EXPECT_TRUE(watch.waitFor("2 photos synced\n")) << watch.output();
  EXPECT_TRUE(contains(run({"status"}).output, "(process " + std::to_string(watch.process()) + ")"));
  EXPECT_EQ(watch.endAt(SIGINT), 0);
  EXPECT_TRUE(contains(run({"status"}).output, "Setup                complete\n"));
  EXPECT_TRUE(contains(run({"library"}).output, "2 photos, "));
}

TEST_F(WatchCommandTest, syncsAtItsStartWhereSetupIsComplete) {
  ASSERT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  writeSampleCard(folder / "MORE", {.photos = 3, .videos = 0});
  std::filesystem::copy_file((folder / "MORE/DCIM/100CHRM/PICT0003.JPG").path(),
                             card.appending("DCIM/100CHRM/PICT0003.JPG").path());
  RunningProgram watch(commandLine({"watch"}));
  EXPECT_TRUE(watch.waitFor("1 photo synced\n")) << watch.output();
  EXPECT_EQ(watch.endAt(SIGTERM), 0);
}

TEST_F(WatchCommandTest, printsNotificationsForPeopleAndPrograms) {
  ASSERT_EQ(run({"cameras", "add", card.path()}).status, 0);
  {
    RunningProgram watch(commandLine({"watch", "--yes", "--json"}));
    EXPECT_TRUE(watch.waitFor("{\"notification\":{\"title\":")) << watch.output();
    EXPECT_EQ(watch.endAt(SIGINT), 0);
  }
}

TEST_F(WatchCommandTest, waitsWhereThereIsNothingToDo) {
  RunningProgram watch(commandLine({"watch", "--yes"}));
  EXPECT_TRUE(watch.waitFor("Waiting for connection\n")) << watch.output();
  EXPECT_EQ(watch.endAt(SIGINT), 0);
}

}  // namespace
}  // namespace tolvander::tests
