#include "Tests/Support/Machine/ChildProcess.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>

namespace tolvander::tests {

namespace {

// Starts a child that ends with what `body` returns. To be called while no other thread runs: a child of a
// process with threads may find the locks of threads that it doesn't have.
pid_t startChild(const std::function<int()>& body) {
  std::fflush(nullptr);  // or the child would print it a second time
  const pid_t child = fork();
  if (child == 0) {
    const int status = body();
    std::fflush(nullptr);
    _exit(status);
  }
  return child;
}

// Its exit status; -1 when it died.
int exitStatusOf(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int exitStatusOfChild(const std::function<int()>& body) { return exitStatusOf(startChild(body)); }

int failuresOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const std::exception& error) {
    ADD_FAILURE() << "the child threw: " << error.what();
  }
  return testing::Test::HasFailure() ? 1 : 0;
}

bool enterPrivateMountNamespace() {
  return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

}  // namespace

void inChildProcess(const std::function<void()>& body) {
  EXPECT_EQ(exitStatusOfChild([&] { return failuresOf(body); }), 0) << "in the child process";
}

void inTwoChildProcesses(const std::function<void()>& first, const std::function<void()>& second) {
  const pid_t one = startChild([&] { return failuresOf(first); });
  const pid_t other = startChild([&] { return failuresOf(second); });
  EXPECT_EQ(exitStatusOf(one), 0) << "in the first child process";
  EXPECT_EQ(exitStatusOf(other), 0) << "in the second child process";
}

void inPrivateMountNamespace(const std::function<void()>& body) {
  inChildProcess([&] {
    ASSERT_TRUE(enterPrivateMountNamespace());
    body();
  });
}

std::optional<std::string> reasonAgainstPrivateMounts() {
  if (exitStatusOfChild([] { return enterPrivateMountNamespace() ? 0 : 1; }) != 0) {
    return "mounting needs root and a kernel that lets it make a mount namespace";
  }
  return std::nullopt;
}

}  // namespace tolvander::tests
