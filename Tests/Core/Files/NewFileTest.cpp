#include "TolvanderCore/Files/NewFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

void expectFailure(const FileURL& url, std::span<const std::byte> bytes, int code) {
  try {
    writeNewFile(url, bytes);
    ADD_FAILURE() << "the file was written";
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), code) << error.what();
  }
}

TEST(NewFile, holdsTheBytes) {
  const TemporaryFolder folder;
  for (const std::size_t size :
       {std::size_t{0}, std::size_t{1}, std::size_t{1} << 20U, std::size_t{2'500'000}}) {
    const FileURL file = folder / std::to_string(size);
    std::string content(size, 'a');
    if (!content.empty()) {
      content.back() = 'z';
    }
    writeNewFile(file, bytesOf(content));
    EXPECT_TRUE(readFile(file) == content) << size;
  }
}

TEST(NewFile, takesNobodysPlace) {
  const TemporaryFolder folder;
  const FileURL file = folder / "file";
  const FileURL link = folder / "link";
  const FileURL directory = folder / "directory";
  writeFile(file, "precious");
  fs::create_symlink("nowhere", link.path());
  fs::create_directory(directory.path());
  for (const FileURL& taken : {file, link, directory}) {
    expectFailure(taken, bytesOf("new"), EEXIST);
    EXPECT_TRUE(fs::exists(fs::symlink_status(taken.path())));
  }
  EXPECT_EQ(readFile(file), "precious");
  EXPECT_FALSE(fs::exists((folder / "nowhere").path()));
}

TEST(NewFile, isGoneWhenItCannotBeCompleted) {
  const TemporaryFolder folder;
  const FileURL file = folder / "file";
  inChildProcess([&] {
    constexpr rlim_t limit = 1'500'000;
    const rlimit largestFile{.rlim_cur = limit, .rlim_max = limit};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &largestFile), 0);
    signal(SIGXFSZ, SIG_IGN);
    expectFailure(file, bytesOf(std::string(limit + 1, 'a')), EFBIG);
  });
  EXPECT_FALSE(fs::exists(file.path()));
}

TEST(NewFile, isGoneWhenCancelled) {
  const TemporaryFolder folder;
  const FileURL file = folder / "file";
  CancellationSource cancellation;
  cancellation.cancel();
  EXPECT_THROW(writeNewFile(file, bytesOf("new"), cancellation.token()), CancellationError);
  EXPECT_FALSE(fs::exists(file.path()));
}

}  // namespace
}  // namespace tolvander::tests
