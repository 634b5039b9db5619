#include "TolvanderApp/SetAsideFile.h"

#include <gtest/gtest.h>

#include <chrono>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/DecodingError.h"

namespace tolvander::app {
namespace {

class SetAsideFileTest : public testing::Test {
 protected:
  CameraMediaFile add(const std::string& path, const std::string& content) const {
    tests::writeFile(folder / path, content);
    return fileAt(path, static_cast<std::int64_t>(content.size()));
  }

  CameraMediaFile fileAt(const std::string& path, std::int64_t byteCount) const {
    const FileURL url = folder / path;
    return {.url = url,
            .volumeURL = folder.url(),
            .relativePath = path,
            .filename = std::string(url.lastPathComponent()),
            .byteCount = byteCount,
            .modifiedAt = dateFromISO8601("2026-11-15T19:13:17Z")};
  }

  tests::TemporaryFolder folder;
};

TEST_F(SetAsideFileTest, isKnownByItsContentWhereverItLies) {
  const SetAsideFile bad = SetAsideFile::of(add("DCIM/BAD.AVI", "bad"), "UUID", {});
  EXPECT_EQ(bad.sha256, FileFingerprinter::sha256(folder / "DCIM/BAD.AVI"));
  EXPECT_FALSE(bad.place);
  EXPECT_TRUE(bad.isSameAs(add("OTHER/MOVI0001.AVI", "bad"), "another card", {}));
  EXPECT_FALSE(bad.isSameAs(add("DCIM/BAD.AVI", "new"), "UUID", {})) << "the same name, size and date";
  EXPECT_FALSE(bad.isSameAs(add("DCIM/BAD.AVI", "longer"), "UUID", {}));
}

TEST_F(SetAsideFileTest, isNotReadWhereItsSizeIsAnother) {
  const SetAsideFile bad = SetAsideFile::of(add("BAD.AVI", "bad"), "UUID", {});
  CancellationSource cancelled;
  cancelled.cancel();
  EXPECT_FALSE(bad.isSameAs(add("GOOD.AVI", "longer"), "UUID", cancelled.token()));
  EXPECT_THROW(static_cast<void>(bad.isSameAs(add("MAYBE.AVI", "gut"), "UUID", cancelled.token())),
               CancellationError);
}

TEST_F(SetAsideFileTest, isKnownByItsPlaceWhereItCannotBeRead) {
  const CameraMediaFile unreadable = fileAt("DCIM/GONE.JPG", 5);
  const SetAsideFile bad = SetAsideFile::of(unreadable, "UUID", {});
  EXPECT_FALSE(bad.sha256);
  EXPECT_TRUE(bad.isSameAs(unreadable, "UUID", {}));
  EXPECT_FALSE(bad.isSameAs(unreadable, "another card", {}));
  EXPECT_FALSE(bad.isSameAs(fileAt("DCIM/GONE.JPG", 6), "UUID", {}));
  EXPECT_FALSE(bad.isSameAs(fileAt("DCIM/OTHER.JPG", 5), "UUID", {}));
  CameraMediaFile later = unreadable;
  later.modifiedAt = dateFromISO8601("2026-11-15T19:13:18Z");
  EXPECT_FALSE(bad.isSameAs(later, "UUID", {}));
}

// The stored form has whole seconds.
TEST_F(SetAsideFileTest, isKnownByItsPlaceWhateverTheFractionOfItsDate) {
  CameraMediaFile unreadable = fileAt("DCIM/GONE.JPG", 5);
  *unreadable.modifiedAt += std::chrono::milliseconds(750);
  const SetAsideFiles stored =
      decodeSetAsideFiles(tests::bytesOf(encodeSetAsideFiles({SetAsideFile::of(unreadable, "UUID", {})})));
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_TRUE(stored.front().isSameAs(unreadable, "UUID", {}));
}

TEST_F(SetAsideFileTest, isTakenOutOfAListInItsOrder) {
  const auto one = add("1.JPG", "one");
  const auto two = add("2.JPG", "two");
  const auto copy = add("3.JPG", "one");
  std::vector<CameraMediaFile> files{one, two, copy};
  EXPECT_EQ(takeSetAside(files, {SetAsideFile::of(one, "", {})}, "", {}),
            (std::vector<std::string>{"1.JPG", "3.JPG"}));
  EXPECT_EQ(files, std::vector{two});
}

TEST_F(SetAsideFileTest, isStored) {
  CameraMediaFile undated = fileAt("DCIM/UNDATED.JPG", 7);
  undated.modifiedAt = std::nullopt;
  const SetAsideFiles files{SetAsideFile::of(add("BAD.AVI", "bad"), "UUID", {}),
                            SetAsideFile::of(fileAt("DCIM/GONE.JPG", 5), "UUID", {}),
                            SetAsideFile::of(undated, "", {})};
  EXPECT_EQ(decodeSetAsideFiles(tests::bytesOf(encodeSetAsideFiles(files))), files);
  for (const char* const broken :
       {"{}", "[1]", R"([{"relativePath":"a"}])", R"([{"relativePath":"a","byteCount":1}])"}) {
    EXPECT_THROW(decodeSetAsideFiles(tests::bytesOf(broken)), DecodingError) << broken;
  }
}

}  // namespace
}  // namespace tolvander::app
