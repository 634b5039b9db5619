#include "Platform/Linux/Volumes/VolumeBookmarks.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Doubles/ManualDescriptorWatcher.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::platform::linux_ {
namespace {

using namespace tests;
using app::BookmarkError;
using app::ResolvedBookmark;
using Bytes = std::vector<std::byte>;

class VolumeBookmarksTest : public testing::Test {
 protected:
  VolumeBookmarksTest() { setMounts(""); }

  void setMounts(const std::string& text) {
    writeFile(table, "28 1 259:2 / / rw - ext4 /dev/nvme0n1p2 rw\n" + text);
  }

  Drive driveNumbered(dev_t number) const {
    Drive drive;
    drive.disk = number;
    if (const auto uuid = uuids.find(number); uuid != uuids.end()) {
      drive.uuid = uuid->second;
    }
    return drive;
  }

  Bytes made(const FileURL& url, bool withSecurityScope = true) {
    return bookmarks.bookmarkData(url, {.withSecurityScope = withSecurityScope});
  }

  ResolvedBookmark resolved(const Bytes& bookmark, bool withSecurityScope = true) {
    return bookmarks.resolve(bookmark, {.withSecurityScope = withSecurityScope});
  }

  std::optional<BookmarkError::Case> failureOf(const Bytes& bookmark, bool withSecurityScope = true) {
    try {
      resolved(bookmark, withSecurityScope);
      return std::nullopt;
    } catch (const BookmarkError& error) {
      return error.kind();
    }
  }

  TemporaryFolder folder;
  const FileURL table = folder / "mountinfo";
  std::map<dev_t, std::string> uuids{{makedev(8, 17), "5B2E-9C01"}, {makedev(8, 33), "5B2E-9C01"}};
  ManualDescriptorWatcher watcher;
  LinuxVolumes volumes{
      watcher, {}, {.mountTable = table, .drive = [this](dev_t number) { return driveNumbered(number); }}};
  VolumeBookmarks bookmarks{volumes};
};

constexpr const char* cardMount = "40 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw\n";
const FileURL card("/media/CARD");

TEST_F(VolumeBookmarksTest, leadToTheVolume) {
  setMounts(cardMount);
  EXPECT_EQ(resolved(made(card)), (ResolvedBookmark{card, false}));
  EXPECT_EQ(resolved(made(FileURL("/media/./CARD/"))), (ResolvedBookmark{card, false}));
}

TEST_F(VolumeBookmarksTest, areStaleWhenTheVolumeIsMountedElsewhereAsAnotherDevice) {
  setMounts(cardMount);
  const Bytes bookmark = made(card);
  setMounts("40 28 8:33 / /media/me/CARD1 rw - vfat /dev/sdc1 rw\n");
  const FileURL place("/media/me/CARD1");
  EXPECT_EQ(resolved(bookmark), (ResolvedBookmark{place, true}));
  EXPECT_EQ(resolved(made(place)), (ResolvedBookmark{place, false}));
}

TEST_F(VolumeBookmarksTest, leadNowhereWhileTheVolumeIsAway) {
  setMounts(cardMount);
  const Bytes bookmark = made(card);
  setMounts("");
  EXPECT_EQ(failureOf(bookmark), BookmarkError::Case::volumeNotMounted);
  setMounts(cardMount);
  EXPECT_EQ(failureOf(bookmark), std::nullopt);
}

TEST_F(VolumeBookmarksTest, knowWhetherTheVolumeIsStillAtItsPlaceAndNotOnlyThePlace) {
  const FileURL place = folder / "CARD";
  std::filesystem::create_directory(place.path());
  const std::string mount = "40 28 8:17 / " + place.path() + " rw - vfat /dev/sdb1 rw\n";
  setMounts(mount);
  const Bytes bookmark = made(place);
  EXPECT_TRUE(bookmarks.isStillThere(bookmark, place));
  setMounts("");
  EXPECT_FALSE(bookmarks.isStillThere(bookmark, place)) << "the empty folder stays";
  setMounts("40 28 8:17 / /media/elsewhere rw - vfat /dev/sdb1 rw\n");
  EXPECT_FALSE(bookmarks.isStillThere(bookmark, place));
  EXPECT_FALSE(bookmarks.isStillThere(bytesOf("nonsense"), place));
}

TEST_F(VolumeBookmarksTest, doNotLeadToAnotherVolumeAtTheSamePlace) {
  setMounts(cardMount);
  const Bytes bookmark = made(card);
  uuids[makedev(8, 17)] = "OTHER";
  EXPECT_EQ(failureOf(bookmark), BookmarkError::Case::volumeNotMounted);
  uuids.erase(makedev(8, 17));
  EXPECT_EQ(failureOf(bookmark), BookmarkError::Case::volumeNotMounted) << "one without a UUID";
}

TEST_F(VolumeBookmarksTest, leadToTheOldPlaceWhereACopyOfTheVolumeIsMountedToo) {
  setMounts(cardMount);
  const Bytes bookmark = made(card);
  setMounts("39 28 8:33 / /media/COPY rw - vfat /dev/sdc1 rw\n" + std::string(cardMount));
  EXPECT_EQ(resolved(bookmark), (ResolvedBookmark{card, false}));
}

TEST_F(VolumeBookmarksTest, goByNameAndDeviceWithoutAUUID) {
  uuids.clear();
  setMounts(cardMount);
  const Bytes bookmark = made(card);
  setMounts("40 28 8:17 / /media/me/CARD rw - vfat /dev/sdb1 rw\n");
  EXPECT_EQ(resolved(bookmark), (ResolvedBookmark{FileURL("/media/me/CARD"), true}));
  setMounts("40 28 8:33 / /media/CARD rw - vfat /dev/sdc1 rw\n");
  EXPECT_EQ(failureOf(bookmark), BookmarkError::Case::volumeNotMounted) << "another device";
  setMounts("40 28 8:17 / /media/OTHER rw - vfat /dev/sdb1 rw\n");
  EXPECT_EQ(failureOf(bookmark), BookmarkError::Case::volumeNotMounted) << "another name";
}

TEST_F(VolumeBookmarksTest, haveASecurityScopeOnlyWhenTheyWereMadeWithOne) {
  setMounts(cardMount);
  EXPECT_EQ(failureOf(made(card, false), true), BookmarkError::Case::noSecurityScope);
  EXPECT_EQ(failureOf(made(card, false), false), std::nullopt);
  EXPECT_EQ(failureOf(made(card, true), false), std::nullopt);
  EXPECT_TRUE(bookmarks.startAccessing(card));
  bookmarks.stopAccessing(card);
}

TEST_F(VolumeBookmarksTest, leadToPlainFoldersWhileTheyStay) {
  const FileURL place = folder / "card";
  std::filesystem::create_directory(place.path());
  const Bytes bookmark = made(place);
  EXPECT_EQ(resolved(bookmark), (ResolvedBookmark{place, false}));
  std::filesystem::rename(place.path(), (folder / "moved").path());
  EXPECT_EQ(failureOf(bookmark), BookmarkError::Case::volumeNotMounted);
  writeFile(place, "no folder");
  EXPECT_EQ(failureOf(bookmark), BookmarkError::Case::volumeNotMounted);
}

TEST_F(VolumeBookmarksTest, leadToChosenFolders) {
  const FileURL place = folder / "card";
  std::filesystem::create_directory(place.path());
  const LinuxVolumes chosen(watcher, {place}, {.mountTable = table, .drive = Drive::ofDevice});
  VolumeBookmarks ofChosen(chosen);
  const Bytes bookmark = ofChosen.bookmarkData(place, {.withSecurityScope = true});
  EXPECT_EQ(ofChosen.resolve(bookmark, {}), (ResolvedBookmark{place, false}));
  EXPECT_EQ(resolved(bookmark), (ResolvedBookmark{place, false})) << "also when it is not chosen";
}

TEST_F(VolumeBookmarksTest, cannotBeMadeOfWhatIsNotThereOrHasNoNameInUTF8) {
  for (const FileURL& url : {folder / "missing", folder / "\x90\xFF"}) {
    try {
      made(url);
      ADD_FAILURE() << url.path();
    } catch (const BookmarkError& error) {
      EXPECT_EQ(error.kind(), BookmarkError::Case::cannotBeMade);
    }
  }
}

TEST_F(VolumeBookmarksTest, areUnreadableWhenTheyAreSomethingElse) {
  setMounts(cardMount);
  const auto with = [](const std::string& version, const std::string& mountPoint) {
    return bytesOf(R"({"version":)" + version +
                   R"(,"volumeUUID":"5B2E-9C01","volumeName":"CARD","device":"","mountPoint":")" +
                   mountPoint + R"(","isSecurityScoped":true})");
  };
  EXPECT_EQ(failureOf(with("1", "/media/CARD")), std::nullopt);
  EXPECT_EQ(failureOf(with("2", "/media/CARD")), BookmarkError::Case::unreadable);
  EXPECT_EQ(failureOf(with("1", "media/CARD")), BookmarkError::Case::unreadable);
  EXPECT_EQ(failureOf(with("1", "/media\\u0000/CARD")), BookmarkError::Case::unreadable);
  for (const char* const text : {"", "[]", "{}", "{\"version\":1}", "bookmark"}) {
    EXPECT_EQ(failureOf(bytesOf(text)), BookmarkError::Case::unreadable) << text;
  }
}

}  // namespace
}  // namespace tolvander::platform::linux_
