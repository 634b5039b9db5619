#include "TolvanderCore/FileFingerprinter.h"

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

#include "Tests/Support/TemporaryFolder.h"
#include "TolvanderCore/SystemErrors.h"

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

TEST(FileFingerprinter, readsWholeFileWhenReadsComeUpShort) {
  const TemporaryFolder folder;
  const FileURL fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.path().c_str(), 0600), 0);
  const std::string content = sample(2'500'000);
  std::thread writer([&] { writeFile(fifo, content); });
  const std::string fingerprint = FileFingerprinter::sha256(fifo);
  writer.join();
  EXPECT_EQ(fingerprint, FileFingerprinter::sha256(bytes(content)));
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

TEST(FileFingerprinter, endsWithinOneChunkWhenCancelledUnderWay) {
  const TemporaryFolder folder;
  const FileURL fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.path().c_str(), 0600), 0);

  CancellationSource source;
  bool wasCancelled = false;
  std::thread reader([&] {
    try {
      FileFingerprinter::sha256(fifo, source.token());
    } catch (const CancellationError&) {
      wasCancelled = true;
    }
  });

  const int writingEnd = open(fifo.path().c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_GE(writingEnd, 0);
  const std::string chunk = sample(1'048'576);
  const auto writeChunk = [&] {
    for (std::size_t written = 0; written < chunk.size();) {
      const ssize_t count = write(writingEnd, chunk.data() + written, chunk.size() - written);
      if (count < 0) {
        return errno;
      }
      written += static_cast<std::size_t>(count);
    }
    return 0;
  };
  const auto previousHandler = signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(writeChunk(), 0);
  source.cancel();
  // The end of the file never comes: were cancellation not looked for after the next chunk, the reader would
  // take in all of these, and the pipe would not break.
  int error = 0;
  for (int count = 0; count < 3 && error == 0; ++count) {
    error = writeChunk();
  }
  reader.join();
  signal(SIGPIPE, previousHandler);
  close(writingEnd);
  EXPECT_TRUE(wasCancelled);
  EXPECT_EQ(error, EPIPE);
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
