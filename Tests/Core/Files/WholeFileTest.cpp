#include "TolvanderCore/Files/WholeFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaStagingError.h"
#include "TolvanderCore/PictureHead.h"

namespace tolvander::tests {
namespace {

using Part = std::span<const std::byte>;

constexpr std::size_t partSize = 262'144;

// Bytes that differ from one part to the next, so that a part lost or taken twice shows.
std::string sample(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t index = 0; index < size; ++index) {
    text[index] = static_cast<char>(index * 31 + index / 4099);
  }
  return text;
}

class WholeFileTest : public testing::Test {
 protected:
  static bool isRefusedAsChanged(
      const FileURL& url, const WholeFile::PartHandler& handle = [](Part) {}) {
    try {
      WholeFile(url).forEachPart(handle, {});
    } catch (const MediaStagingError& error) {
      return error.kind() == MediaStagingError::Case::sourceChanged;
    }
    return false;
  }

  void append(std::string_view content) const {
    std::ofstream(file.path(), std::ios::binary | std::ios::app) << content;
  }

  TemporaryFolder folder;
  const FileURL file = folder / "file";
};

TEST_F(WholeFileTest, givesEveryByteInItsOrderInPartsOfABoundedSize) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, partSize - 1, partSize, partSize + 1,
                                 3 * partSize, 4 * partSize + 7}) {
    const std::string content = sample(size);
    writeFile(file, content);
    std::string read;
    WholeFile source(file);
    EXPECT_EQ(source.byteCount(), size);
    source.forEachPart(
        [&](Part part) {
          EXPECT_LE(part.size(), partSize);
          read.append(reinterpret_cast<const char*>(part.data()), part.size());
        },
        {});
    EXPECT_TRUE(read == content) << size;
    EXPECT_TRUE(WholeFile(file).contents({}) == bytesOf(content)) << size;
  }
}

TEST_F(WholeFileTest, refusesAFileThatGrowsWhileItIsRead) {
  for (const std::size_t size : {std::size_t{1}, partSize, 2 * partSize}) {
    writeFile(file, sample(size));
    bool hasGrown = false;
    const auto growOnce = [&](Part) {
      if (!hasGrown) {
        append("x");
        hasGrown = true;
      }
    };
    EXPECT_TRUE(isRefusedAsChanged(file, growOnce)) << size;
  }
}

TEST_F(WholeFileTest, refusesAFileThatShrinksWhileItIsRead) {
  writeFile(file, sample(2 * partSize));
  EXPECT_TRUE(
      isRefusedAsChanged(file, [&](Part) { std::filesystem::resize_file(file.path(), 2 * partSize - 1); }));
  writeFile(file, sample(2 * partSize));
  EXPECT_TRUE(isRefusedAsChanged(file, [&](Part) { std::filesystem::resize_file(file.path(), 0); }));
}

TEST_F(WholeFileTest, givesNoMoreThanTheFileHadOfOneThatGrowsWithoutEnd) {
  writeFile(file, sample(partSize));
  std::size_t given = 0;
  const auto grow = [&](Part part) {
    given += part.size();
    if (given < 10 * partSize) {  // or a reader that goes on would fill the disk
      append(sample(partSize));
    }
  };
  EXPECT_TRUE(isRefusedAsChanged(file, grow));
  EXPECT_EQ(given, partSize);
}

// The kernel's own files have other sizes than they say: 0 bytes, and a page.
TEST_F(WholeFileTest, refusesAFileThatDoesNotTellItsSize) {
  const FileURL larger("/proc/version");
  const FileURL smaller("/sys/devices/system/cpu/online");
  ASSERT_EQ(WholeFile(larger).byteCount(), 0U);
  ASSERT_GT(WholeFile(smaller).byteCount(), 1000U);
  for (const FileURL& url : {larger, smaller}) {
    EXPECT_TRUE(isRefusedAsChanged(url)) << url.path();
    EXPECT_THROW(WholeFile(url).contents({}), MediaStagingError) << url.path();
  }
}

TEST_F(WholeFileTest, looksForCancellationBeforeEachPart) {
  writeFile(file, sample(3 * partSize));
  CancellationSource source;
  int parts = 0;
  const auto cancel = [&](Part) {
    ++parts;
    source.cancel();
  };
  EXPECT_THROW(WholeFile(file).forEachPart(cancel, source.token()), CancellationError);
  EXPECT_EQ(parts, 1);
  EXPECT_THROW(WholeFile(file).contents(source.token()), CancellationError);
}

TEST_F(WholeFileTest, passesOnTheSystemsError) {
  try {
    WholeFile(folder.url()).forEachPart([](Part) {}, {});
    FAIL();
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), EISDIR);
  }
  EXPECT_THROW(WholeFile missing(folder / "missing"), PosixError);
}

TEST(PictureHead, keepsAllOfASmallFileAndTheBeginningOfALargeOne) {
  const std::vector<std::byte> content = bytesOf(sample(10));
  const auto headOf = [&](std::uint64_t limit) {
    PictureHead head(content.size(), limit);
    for (std::size_t place = 0; place < content.size(); place += 4) {
      head.append(std::span(content).subspan(place, std::min<std::size_t>(4, content.size() - place)));
    }
    return std::vector(head.bytes().begin(), head.bytes().end());
  };
  EXPECT_EQ(headOf(PictureHead::maximumBytes), content);
  EXPECT_EQ(headOf(10), content);
  for (const std::size_t limit : {0U, 3U, 4U, 5U, 9U}) {
    EXPECT_EQ(headOf(limit), std::vector(content.begin(), content.begin() + static_cast<long>(limit)));
  }
}

}  // namespace
}  // namespace tolvander::tests
