#include "TolvanderCore/Files/FileFingerprinter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

constexpr std::string_view fingerprintOfNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

std::span<const std::byte> bytes(std::string_view text) { return std::as_bytes(std::span(text)); }

// Bytes that differ from one chunk to the next, so that a chunk lost or taken twice shows.
std::string sample(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t index = 0; index < size; ++index) {
    text[index] = static_cast<char>(index * 31 + index / 4099);
  }
  return text;
}

std::int64_t errorOf(const FileURL& url) {
  try {
    FileFingerprinter::sha256(url);
  } catch (const PosixError& error) {
    return error.code();
  }
  return 0;
}

CancellationToken cancelledToken() {
  CancellationSource source;
  source.cancel();
  return source.token();
}

}  // namespace

TEST(FileFingerprinter, givesThePublishedFingerprintOfAnEmptyFile) {
  const TemporaryFolder folder;
  writeFile(folder / "empty", "");
  EXPECT_EQ(FileFingerprinter::sha256(folder / "empty"), fingerprintOfNothing);
  EXPECT_EQ(FileFingerprinter::sha256(std::span<const std::byte>()), fingerprintOfNothing);
}

TEST(FileFingerprinter, givesTheSameForAFileAndForItsBytes) {
  const TemporaryFolder folder;
  const FileURL file = folder / "file";
  for (const std::size_t size : {1UL, 63UL, 64UL, 65UL, 262'143UL, 262'144UL, 262'145UL, 1'048'575UL,
                                 1'048'576UL, 1'048'577UL, 3'145'729UL}) {
    const std::string content = sample(size);
    writeFile(file, content);
    EXPECT_EQ(FileFingerprinter::sha256(file), FileFingerprinter::sha256(bytes(content))) << size;
  }
}

TEST(FileFingerprinter, refusesAPipeInsteadOfWaitingForIt) {
  const TemporaryFolder folder;
  const FileURL fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.path().c_str(), 0600), 0);
  try {
    FileFingerprinter::sha256(fifo);
    FAIL() << "a pipe was read";
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), EINVAL);
  }
}

TEST(FileFingerprinter, keepsLeadingZerosOfEveryByte) {
  SHA256::Digest digest{};
  digest[1] = std::byte{0x0a};
  digest[31] = std::byte{0xf0};
  EXPECT_EQ(FileFingerprinter::text(digest),
            "000a0000000000000000000000000000000000000000000000000000000000f0");
  // The published digest of "286" begins with a zero byte.
  const std::string text = FileFingerprinter::sha256(bytes("286"));
  EXPECT_EQ(text.size(), 64U);
  EXPECT_TRUE(text.starts_with("00328ce57bbc14b33bd6695bc8eb32cd")) << text;
}

TEST(FileFingerprinter, throwsWhenCancelledBeforeTheFirstChunk) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  EXPECT_THROW(FileFingerprinter::sha256(folder / "file", cancelledToken()), CancellationError);
}

// Cancellation is looked for where there is something to hash.
TEST(FileFingerprinter, finishesAnEmptyFileThoughCancelled) {
  const TemporaryFolder folder;
  writeFile(folder / "empty", "");
  EXPECT_EQ(FileFingerprinter::sha256(folder / "empty", cancelledToken()), fingerprintOfNothing);
}

TEST(FileFingerprinter, endsWhenCancelledUnderWay) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  constexpr std::uintmax_t minutesOfWork = std::uintmax_t{64} << 30U;  // a hole, which takes no room
  std::filesystem::resize_file((folder / "file").path(), minutesOfWork);
  CancellationSource source;
  std::thread canceller([&] { source.cancel(); });
  EXPECT_THROW(FileFingerprinter::sha256(folder / "file", source.token()), CancellationError);
  canceller.join();
}

TEST(FileFingerprinter, throwsWhenTheFileIsMissing) {
  const TemporaryFolder folder;
  EXPECT_EQ(errorOf(folder / "missing"), ENOENT);
}

TEST(FileFingerprinter, throwsOnAFolder) {
  const TemporaryFolder folder;
  EXPECT_EQ(errorOf(folder.url()), EISDIR);
}

TEST(FileFingerprinter, reportsAMissingFileThoughCancelled) {
  const TemporaryFolder folder;
  EXPECT_THROW(FileFingerprinter::sha256(folder / "missing", cancelledToken()), PosixError);
}

TEST(FileFingerprinter, closesTheFileOnEveryWayOut) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  const auto openDescriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = openDescriptors();
  for (int count = 0; count < 10; ++count) {
    FileFingerprinter::sha256(folder / "file");
    EXPECT_THROW(FileFingerprinter::sha256(folder / "file", cancelledToken()), CancellationError);
    EXPECT_EQ(errorOf(folder.url()), EISDIR);
  }
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace tolvander::tests
