#include "TolvanderCore/Files/DescriptorIO.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {
namespace {

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    readEnd = OwnedDescriptor(ends[0]);
    writeEnd = OwnedDescriptor(ends[1]);
  }

  OwnedDescriptor readEnd;
  OwnedDescriptor writeEnd;
};

const FileURL pipeName("/pipe");

OwnedDescriptor opened(const FileURL& file, int flags) {
  return OwnedDescriptor(open(file.path().c_str(), flags | O_CLOEXEC));
}

// A pipe hands over at most what it holds, so one call transfers a part.
TEST(DescriptorIO, transfersAllOfMoreThanOneCallTransfers) {
  const std::string sent(1'000'000, 'a');
  Pipe pipe;
  std::thread writer([&] { writeAll(pipe.writeEnd, bytesOf(sent), pipeName); });
  std::string received(sent.size(), '\0');
  const std::size_t count = readFully(pipe.readEnd, std::as_writable_bytes(std::span(received)), pipeName);
  writer.join();
  EXPECT_EQ(count, sent.size());
  EXPECT_TRUE(received == sent);
}

TEST(DescriptorIO, readsLessOnlyAtTheEnd) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "content");
  const OwnedDescriptor file = opened(folder / "file", O_RDONLY);
  std::array<std::byte, 5> buffer{};
  EXPECT_EQ(readFully(file, buffer, folder / "file"), 5U);
  EXPECT_EQ(readFully(file, buffer, folder / "file"), 2U);
  EXPECT_EQ(readFully(file, buffer, folder / "file"), 0U);
}

TEST(DescriptorIO, leavesThePositionWhereAnOffsetIsGiven) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "content");
  const OwnedDescriptor file = opened(folder / "file", O_RDWR);
  writeAllAt(file, 3, bytesOf("TEN"), folder / "file");
  std::string text(4, '\0');
  EXPECT_EQ(readFullyAt(file, 2, std::as_writable_bytes(std::span(text)), folder / "file"), 4U);
  EXPECT_EQ(text, "nTEN");
  EXPECT_EQ(lseek(file.number(), 0, SEEK_CUR), 0);
  EXPECT_EQ(readFile(folder / "file"), "conTENt");
}

// One read of such a file returns at most a page of it. The buffers are allocated before, because that
// changes the file.
TEST(DescriptorIO, readsOnAtTheOffsetAfterAPartialRead) {
  const FileURL maps("/proc/self/maps");
  const OwnedDescriptor file = opened(maps, O_RDONLY);
  std::vector<std::byte> atOffset(1'000'000);
  std::vector<std::byte> atPosition(1'000'000);
  const std::size_t size = readFully(file, atPosition, maps);
  EXPECT_EQ(readFullyAt(file, 0, atOffset, maps), size);
  ASSERT_GT(size, 4096U);
  EXPECT_TRUE(atOffset == atPosition);
}

TEST(DescriptorIO, throwsTheErrorOfTheSystem) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "content");
  const OwnedDescriptor file = opened(folder / "file", O_RDONLY);
  try {
    writeAll(file, bytesOf("new"), folder / "file");
    ADD_FAILURE() << "a file that is open for reading was written";
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), EBADF);
  }
  std::array<std::byte, 1> buffer{};
  const OwnedDescriptor directory = opened(folder / "", O_RDONLY | O_DIRECTORY);
  EXPECT_THROW(readFully(directory, buffer, folder / ""), PosixError);
}

}  // namespace
}  // namespace tolvander::tests
