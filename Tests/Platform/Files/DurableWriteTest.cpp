#include "TolvanderCore/Platform/DurableWrite.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

std::int64_t errorNumberOf(const std::function<void()>& operation) {
  try {
    operation();
    return 0;
  } catch (const PosixError& error) {
    return error.code();
  }
}

}  // namespace

TEST(DurableWrite, makesTheFileAndAppendsToIt) {
  const TemporaryFolder folder;
  writeDurably(folder / "file", 0, bytesOf("first"));
  writeDurably(folder / "file", 5, bytesOf(", second"));
  EXPECT_EQ(readFile(folder / "file"), "first, second");
}

TEST(DurableWrite, leavesNothingBehindWhatItWrote) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "kept, and a long rest");
  writeDurably(folder / "file", 4, bytesOf("!"));
  EXPECT_EQ(readFile(folder / "file"), "kept!");
  writeDurably(folder / "file", 0, bytesOf(""));
  EXPECT_EQ(readFile(folder / "file"), "");
}

TEST(DurableWrite, failsWhereThereIsNoFolderOrALinkOrAFolder) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink((folder / "elsewhere").path(), (folder / "link").path());
  std::filesystem::create_directory((folder / "folder").path());
  EXPECT_EQ(errorNumberOf([&] { writeDurably(folder / "no/file", 0, bytesOf("x")); }), ENOENT);
  EXPECT_EQ(errorNumberOf([&] { writeDurably(folder / "link", 0, bytesOf("x")); }), ELOOP);
  EXPECT_EQ(errorNumberOf([&] { writeDurably(folder / "folder", 0, bytesOf("x")); }), EISDIR);
  EXPECT_FALSE(std::filesystem::exists((folder / "elsewhere").path()));
}

TEST(DurableWrite, isForTheUserAlone) {
  const TemporaryFolder folder;
  writeDurably(folder / "file", 0, bytesOf("x"));
  struct stat status {};
  ASSERT_EQ(stat((folder / "file").path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

}  // namespace tolvander::tests
