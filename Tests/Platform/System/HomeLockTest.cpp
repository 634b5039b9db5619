#include "Platform/Linux/System/HomeLock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {
namespace {

using app::HomeHolder;
using app::HomeInUseError;

class HomeLockTest : public testing::Test {
 protected:
  // Who has the right, by the error of one that asks for it.
  std::optional<HomeHolder> refusal() const {
    try {
      const HomeLock lock(file);
    } catch (const HomeInUseError& error) {
      return error.holder();
    }
    ADD_FAILURE() << "it was free";
    return std::nullopt;
  }

  tests::TemporaryFolder folder;
  const FileURL file = folder / "data/Tolvander/lock";
};

TEST_F(HomeLockTest, liesBesideTheHistory) {
  EXPECT_EQ(HomeLock::standardFile(StandardDirectories::below(FileURL("/h"))),
            FileURL("/h/data/Tolvander/lock"));
  EXPECT_EQ(HomeLock::standardFile({.applicationSupport = std::nullopt, .temporary = FileURL("/tmp")}),
            std::nullopt);
}

TEST_F(HomeLockTest, tellsTheSecondWhoHoldsTheHome) {
  const HomeLock lock(file);
  const auto holder = refusal();
  ASSERT_TRUE(holder);
  EXPECT_EQ(holder->process, getpid());
  EXPECT_FALSE(holder->command.empty());
  EXPECT_EQ(HomeLock::holder(file), holder);
}

TEST_F(HomeLockTest, refusesAnotherProcessToo) {
  const HomeLock lock(file);
  const pid_t parent = getpid();
  tests::inChildProcess([&] {
    const auto holder = refusal();
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->process, parent);
  });
}

TEST_F(HomeLockTest, isFreeAgainWhenTheHolderHasEnded) {
  { const HomeLock lock(file); }
  EXPECT_EQ(HomeLock::holder(file), std::nullopt);
  EXPECT_NO_THROW(const HomeLock again(file));
}

TEST_F(HomeLockTest, isFreeAgainWhenTheProcessDied) {
  tests::inChildProcess([&] { new HomeLock(file); });  // never destroyed
  EXPECT_NO_THROW(const HomeLock lock(file));
}

TEST_F(HomeLockTest, isNotInTheWayOfOneThatStartsWhileItIsLookedAt) {
  tests::writeFile(file, "");
  EXPECT_EQ(HomeLock::holder(file), std::nullopt);
  EXPECT_NO_THROW(const HomeLock lock(file));
}

TEST_F(HomeLockTest, isTakenAnewWhereItsFileWasDeleted) {
  HomeLock lock(file);
  std::filesystem::remove(file.path());
  lock.require();
  EXPECT_EQ(refusal()->process, getpid());
}

TEST_F(HomeLockTest, isRefusedWhereItsFileWasDeletedAndAnotherOneHasTheNewFile) {
  HomeLock lock(file);
  lock.require();
  std::filesystem::remove(file.path());
  const HomeLock other(file);
  EXPECT_THROW(lock.require(), HomeInUseError);
}

TEST_F(HomeLockTest, hasNoHolderWhereThereIsNoFile) {
  EXPECT_EQ(HomeLock::holder(file), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(file.path()));
}

TEST_F(HomeLockTest, followsNoLink) {
  tests::writeFile(folder / "victim", "precious");
  std::filesystem::create_directories(file.deletingLastPathComponent().path());
  std::filesystem::create_symlink((folder / "victim").path(), file.path());
  EXPECT_THROW(const HomeLock lock(file), PosixError);
  EXPECT_EQ(tests::readFile(folder / "victim"), "precious");
}

TEST_F(HomeLockTest, failsWhereTheFolderCannotBeMade) {
  tests::writeFile(folder / "data", "a file");
  EXPECT_THROW(const HomeLock lock(file), PosixError);
}

TEST(HomeInUseError, saysWhoHoldsTheHome) {
  EXPECT_EQ(HomeInUseError(HomeHolder{.process = 4711, .command = "tolvanderctl"}).description(),
            "Tolvander is already at work on these files: tolvanderctl (process 4711). Nothing was changed. "
            "Wait until it has ended, or stop it, and try again.");
  EXPECT_EQ(HomeInUseError(std::nullopt).description(),
            "Tolvander is already at work on these files: another process. Nothing was changed. Wait until "
            "it has ended, or stop it, and try again.");
}

}  // namespace
}  // namespace tolvander::platform::linux_
