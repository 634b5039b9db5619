#include "TolvanderCore/Files/OwnedDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <utility>

namespace tolvander::tests {
namespace {

int openNull() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }

bool isOpen(int number) { return fcntl(number, F_GETFD) >= 0; }

TEST(OwnedDescriptor, isClosedAtItsEnd) {
  int number = -1;
  {
    const OwnedDescriptor file(openNull());
    number = file.number();
    EXPECT_TRUE(file);
    EXPECT_TRUE(isOpen(number));
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(OwnedDescriptor, keepsErrnoAtItsEnd) {
  {
    const OwnedDescriptor file(openNull());
    ::close(file.number());  // so that closing it fails with EBADF
    errno = ENOENT;
  }
  EXPECT_EQ(errno, ENOENT);
}

TEST(OwnedDescriptor, isClosedWhenAnotherIsAssigned) {
  OwnedDescriptor file(openNull());
  const int first = file.number();
  OwnedDescriptor other(openNull());
  const int second = other.number();
  file = std::move(other);
  EXPECT_EQ(file.number(), second);
  EXPECT_TRUE(isOpen(second));
  EXPECT_FALSE(isOpen(first));
}

TEST(OwnedDescriptor, staysOpenAfterItIsReleased) {
  int number = -1;
  {
    OwnedDescriptor file(openNull());
    number = file.release();
    EXPECT_FALSE(file);
  }
  EXPECT_TRUE(isOpen(number));
  ::close(number);
}

TEST(OwnedDescriptor, isClosedOnceWithTheFailureThatIsReported) {
  OwnedDescriptor file(openNull());
  ::close(file.number());
  EXPECT_EQ(file.close(), EBADF);
  EXPECT_FALSE(file);
  EXPECT_EQ(file.close(), 0);
}

TEST(RetryOnEINTR, callsAgainUntilNoSignalInterrupts) {
  int calls = 0;
  EXPECT_EQ(retryOnEINTR([&] {
              errno = EINTR;
              return ++calls < 3 ? -1 : 7;
            }),
            7);
  EXPECT_EQ(calls, 3);
}

TEST(RetryOnEINTR, returnsOtherFailures) {
  int calls = 0;
  EXPECT_EQ(retryOnEINTR([&] {
              ++calls;
              errno = ENOENT;
              return -1;
            }),
            -1);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace tolvander::tests
