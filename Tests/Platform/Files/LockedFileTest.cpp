#include "Platform/Linux/Files/LockedFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::platform::linux_ {
namespace {

namespace fs = std::filesystem;

class LockedFileTest : public testing::Test {
 protected:
  OwnedDescriptor open() const {
    return OwnedDescriptor(::open(file.path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  }

  tests::TemporaryFolder folder;
  const FileURL file = folder / "lock";
};

TEST_F(LockedFileTest, isStillNamedUntilItIsDeletedOrReplaced) {
  const OwnedDescriptor opened = open();
  EXPECT_TRUE(isStillNamed(opened, file));
  fs::rename(file.path(), (folder / "moved").path());
  EXPECT_FALSE(isStillNamed(opened, file));
  const OwnedDescriptor other = open();
  EXPECT_FALSE(isStillNamed(opened, file));
  EXPECT_TRUE(isStillNamed(other, file));
}

TEST_F(LockedFileTest, isLockedAnewWhereItWasReplacedBetweenOpeningAndLocking) {
  int locked = 0;
  const OwnedDescriptor result = openAndLock(
      file, [&] { return open(); },
      [&](const OwnedDescriptor&) {
        if (++locked == 1) {
          fs::remove(file.path());
        }
        return true;
      });
  EXPECT_EQ(locked, 2);
  EXPECT_TRUE(isStillNamed(result, file));
}

TEST_F(LockedFileTest, isNoneWhereAnotherOneHasTheLock) {
  EXPECT_FALSE(openAndLock(
      file, [&] { return open(); }, [](const OwnedDescriptor&) { return false; }));
}

}  // namespace
}  // namespace tolvander::platform::linux_
