#include "TolvanderCore/MountedVolumeMediaSource.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>

#include "Tests/Support/Machine/OpenHook.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander {
namespace {

namespace fs = std::filesystem;
using tests::OpenHook;
using tests::OtherUser;
using tests::readFile;
using tests::TemporaryFolder;
using tests::writeFile;

// A folder that is used as a mounted volume; the platform gives its name and UUID.
class MountedVolume : public testing::Test {
 protected:
  MountedVolume() { fs::create_directory(volume.path()); }

  void add(const std::string& path, std::string_view content = "x") const {
    writeFile(volume.appending(path), content);
  }
  void addFolder(const std::string& path) const { fs::create_directories(volume.appending(path).path()); }
  void link(const std::string& path, const std::string& target) const {
    fs::create_symlink(target, volume.appending(path).path());
  }

  std::optional<DetectedDevice> detect(
      const std::vector<DeviceProfile>& profiles = DeviceProfile::builtIns()) const {
    return source.detect(volume, profiles);
  }

  std::vector<std::string> listed(const DeviceProfile& profile = DeviceProfile::charmera()) const {
    std::vector<std::string> paths;
    for (const CameraMediaFile& file : MountedVolumeMediaSource::mediaFiles(volume, profile)) {
      paths.push_back(file.relativePath);
    }
    return paths;
  }

  std::string uuid() const { return volumeResourceValues(volume).uuid.value(); }

  TemporaryFolder folder;
  const FileURL volume = folder / "CARD";
  const MountedVolumeMediaSource source;
};

using Paths = std::vector<std::string>;

std::string headWithMarkerAt(std::size_t offset) {
  std::string head(600, '\0');
  return head.replace(offset, 9, "GPEncoder");
}

DeviceProfile enabledCard() {
  DeviceProfile profile = DeviceProfile::standardCameraCard();
  profile.isEnabled = true;
  return profile;
}

DeviceProfile granted(DeviceProfile profile, std::optional<std::string> uuid,
                      std::vector<std::string> names) {
  profile.securityScopedBookmark.emplace();
  profile.matchRules.volumeUUID = std::move(uuid);
  profile.matchRules.volumeNames = std::move(names);
  return profile;
}

TEST(MountedVolumeMediaSource, identifiesItself) {
  EXPECT_EQ(MountedVolumeMediaSource().adapterIdentifier(), "mounted-volume");
}

// What is a camera

TEST_F(MountedVolume, withBothCharmeraFoldersAndNoFilesIsACharmera) {
  addFolder("DCIM");
  addFolder("SPIDCIM");
  const auto device = detect();
  ASSERT_TRUE(device);
  EXPECT_EQ(device->profile, DeviceProfile::charmera());
  EXPECT_EQ(device->volumeURL, volume);
  EXPECT_EQ(device->displayName, "CARD");
  EXPECT_TRUE(device->files.empty());
}

TEST_F(MountedVolume, withOnlySPIDCIMIsNoCharmera) {
  addFolder("SPIDCIM");
  add("SPIDCIM/PICT0001.JPG", headWithMarkerAt(0));
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, withTheMarkerInTheFirst512BytesIsACharmera) {
  add("DCIM/100/PICT0001.JPG", headWithMarkerAt(503));
  ASSERT_TRUE(detect());
  EXPECT_EQ(detect()->files.size(), 1U);
}

TEST_F(MountedVolume, withTheMarkerAtByte512IsNoCharmera) {
  add("DCIM/100/PICT0001.JPG", headWithMarkerAt(512));
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, withAMarkerThatCrossesByte512IsNoCharmera) {
  add("DCIM/100/PICT0001.JPG", headWithMarkerAt(504));
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, withTheMarkerInAShortFileIsACharmera) {
  add("DCIM/PICT00001.jpeg", "GPEncoder");
  EXPECT_TRUE(detect());
}

TEST_F(MountedVolume, withTheMarkerInAFileOfAnotherNameIsNoCharmera) {
  add("DCIM/PICT123.JPG", headWithMarkerAt(0));   // too few digits
  add("DCIM/pict0001.jpg", headWithMarkerAt(0));  // the stem's case counts
  add("DCIM/PICT0001.PNG", headWithMarkerAt(0));
  add("DCIM/XPICT0001.JPG", headWithMarkerAt(0));
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, looksAtEveryMatchingFileUntilOneHoldsTheMarker) {
  for (int number = 1000; number < 1050; ++number) {
    add("DCIM/PICT" + std::to_string(number) + ".JPG", "no marker");
  }
  EXPECT_FALSE(detect());
  add("DCIM/200/PICT2000.JPG", headWithMarkerAt(100));
  EXPECT_TRUE(detect());
}

TEST_F(MountedVolume, ignoresMatchingFilesThatCannotBeRead) {
  addFolder("DCIM/PICT0001.JPG");  // a folder of that name
  link("DCIM/PICT0002.JPG", "nowhere");
  EXPECT_FALSE(detect());
  add("DCIM/PICT0003.JPG", headWithMarkerAt(0));
  fs::permissions(volume.appending("DCIM/PICT0003.JPG").path(), fs::perms::none);
  fs::permissions(folder.url().path(), fs::perms::all);
  const OtherUser nobody;
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, withTheMarkerBehindAFileThatCannotBeReadIsACharmera) {
  add("DCIM/PICT0001.JPG", headWithMarkerAt(0));
  add("DCIM/PICT0002.JPG", headWithMarkerAt(0));
  // The walk takes them in the order in which the system lists them.
  const fs::path first = fs::directory_iterator(volume.appending("DCIM").path())->path();
  fs::permissions(first, fs::perms::none);
  fs::permissions(folder.url().path(), fs::perms::all);
  const OtherUser nobody;
  EXPECT_TRUE(detect());
}

TEST_F(MountedVolume, thatIsAPlainCardIsNothingAsShipped) {
  add("DCIM/100CANON/IMG_0001.JPG");
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, thatIsAPlainCardIsACardOnceEnabled) {
  add("DCIM/100CANON/IMG_0001.JPG");
  const auto device = detect({DeviceProfile::charmera(), enabledCard()});
  ASSERT_TRUE(device);
  EXPECT_EQ(device->profile.kind, DeviceProfile::Kind::standardCameraCard);
}

TEST_F(MountedVolume, thatIsACharmeraGoesToTheCharmeraProfileBeforeAnEnabledCard) {
  addFolder("DCIM");
  addFolder("SPIDCIM");
  EXPECT_EQ(detect({enabledCard(), DeviceProfile::charmera()})->profile.kind, DeviceProfile::Kind::charmera);
}

TEST_F(MountedVolume, addedByHandBeatsAnEnabledCard) {
  addFolder("DCIM");
  const DeviceProfile custom = MountedVolumeMediaSource::customProfile(volume, {"DCIM"});
  EXPECT_EQ(detect({enabledCard(), custom})->profile, custom);
}

TEST_F(MountedVolume, keepsTheOrderOfProfilesWithEqualPriority) {
  addFolder("DCIM");
  DeviceProfile first = enabledCard();
  DeviceProfile second = enabledCard();
  first.name = "first";
  second.name = "second";
  EXPECT_EQ(detect({first, second})->profile.name, "first");
  EXPECT_EQ(detect({second, first})->profile.name, "second");
}

TEST_F(MountedVolume, triesTheNextProfileWhereTheFirstDoesNotMatch) {
  addFolder("PRIVATE");
  DeviceProfile needsMore = enabledCard();
  needsMore.priority = 200;
  DeviceProfile matching = enabledCard();
  matching.matchRules.requiredPaths = {"PRIVATE"};
  matching.name = "matching";
  EXPECT_EQ(detect({needsMore, matching})->profile.name, "matching");
}

TEST_F(MountedVolume, thatIsTheRootVolumeIsNeverACamera) {
  DeviceProfile anything = enabledCard();
  anything.matchRules.requiredPaths.clear();
  anything.mediaRoots.clear();
  EXPECT_FALSE(source.detect(FileURL("/"), {anything}));
  EXPECT_FALSE(source.detect(FileURL("/tmp/.."), {anything}));
  EXPECT_TRUE(source.detect(volume, {anything}));
}

// Profiles that are bound to one volume

TEST_F(MountedVolume, grantedByItsUUIDIsTrustedWithoutAnyFolder) {
  EXPECT_TRUE(detect({granted(DeviceProfile::charmera(), uuid(), {})}));
}

TEST_F(MountedVolume, isNotEligibleForTheGrantOfAnotherVolume) {
  addFolder("DCIM");
  addFolder("SPIDCIM");
  EXPECT_FALSE(detect({granted(DeviceProfile::charmera(), "OTHER", {"CARD"})}));
  EXPECT_FALSE(detect({granted(DeviceProfile::charmera(), std::nullopt, {"OTHER"})}));
  EXPECT_FALSE(detect({granted(DeviceProfile::charmera(), std::nullopt, {})}));
  std::string lower = uuid();
  std::ranges::transform(lower, lower.begin(),
                         [](unsigned char letter) { return static_cast<char>(tolower(letter)); });
  EXPECT_FALSE(detect({granted(DeviceProfile::charmera(), lower, {})})) << "UUIDs are compared exactly";
}

TEST_F(MountedVolume, grantedByItsNameIsTrustedInAnyCase) {
  EXPECT_TRUE(detect({granted(DeviceProfile::charmera(), std::nullopt, {"other", "card"})}));
}

TEST_F(MountedVolume, grantedWithoutUUIDAndNamesStillHasToMatchAsACharmera) {
  const DeviceProfile profile = granted(DeviceProfile::charmera(), std::nullopt, {});
  EXPECT_FALSE(MountedVolumeMediaSource::matches(volume, profile));
  addFolder("DCIM");
  addFolder("SPIDCIM");
  EXPECT_TRUE(MountedVolumeMediaSource::matches(volume, profile));
}

TEST_F(MountedVolume, isNoMatchForTheGrantOfAnotherVolumeWhateverItHolds) {
  addFolder("DCIM");
  addFolder("SPIDCIM");
  const auto matchesGrant = [&](std::optional<std::string> grantedUUID, Paths names) {
    return MountedVolumeMediaSource::matches(
        volume, granted(DeviceProfile::charmera(), std::move(grantedUUID), std::move(names)));
  };
  EXPECT_FALSE(matchesGrant("OTHER", {}));
  EXPECT_FALSE(matchesGrant("OTHER", {"CARD"})) << "with a UUID the name doesn't count";
  EXPECT_FALSE(matchesGrant(std::nullopt, {"OTHER"}));
  EXPECT_TRUE(matchesGrant(uuid(), {"OTHER"}));
  EXPECT_TRUE(matchesGrant(std::nullopt, {"card"}));
}

TEST_F(MountedVolume, isNotDetectedByADisabledProfileEvenIfGranted) {
  DeviceProfile profile = granted(DeviceProfile::charmera(), uuid(), {});
  profile.isEnabled = false;
  EXPECT_FALSE(detect({profile}));
}

TEST_F(MountedVolume, matchesACardByAnyOneRule) {
  DeviceProfile profile = enabledCard();
  profile.matchRules.requiredPaths = {};
  const auto matches = [&] { return MountedVolumeMediaSource::matches(volume, profile); };
  EXPECT_TRUE(matches()) << "without any evidence asked for, the required paths alone decide";
  profile.matchRules.volumeUUID = "OTHER";
  EXPECT_FALSE(matches());
  profile.matchRules.volumeNames = {"Card"};
  EXPECT_TRUE(matches()) << "a volume whose UUID has changed is still known by its name";
  profile.matchRules.volumeNames = {"OTHER"};
  profile.matchRules.filenamePattern = "^IMG_";
  EXPECT_FALSE(matches());
  addFolder("DCIM/a/IMG_FOLDER");
  EXPECT_TRUE(matches()) << "an entry of any kind counts";
  profile.matchRules.filenamePattern.reset();
  profile.matchRules.volumeUUID = uuid();
  EXPECT_TRUE(matches());
}

TEST_F(MountedVolume, passesOverRootsThatCannotBeWalkedWhenLookingForNames) {
  DeviceProfile profile = enabledCard();
  profile.matchRules.requiredPaths = {};
  profile.matchRules.filenamePattern = "IMG";
  profile.mediaRoots = {"MISSING", "FILE", "DCIM"};
  add("FILE");
  EXPECT_FALSE(MountedVolumeMediaSource::matches(volume, profile));
  add("DCIM/IMG_0001.JPG");
  EXPECT_TRUE(MountedVolumeMediaSource::matches(volume, profile));
}

TEST_F(MountedVolume, needsEveryRequiredPathAsAFileOrAFolder) {
  DeviceProfile profile = enabledCard();
  profile.matchRules.requiredPaths = {"DCIM", "MISC/AUTPRINT.MRK"};
  addFolder("DCIM");
  EXPECT_FALSE(MountedVolumeMediaSource::matches(volume, profile));
  add("MISC/AUTPRINT.MRK");
  EXPECT_TRUE(MountedVolumeMediaSource::matches(volume, profile));
}

TEST_F(MountedVolume, isNotMatchedByAPatternThatCannotBeCompiled) {
  add("DCIM/PICT0001.JPG", headWithMarkerAt(0));
  DeviceProfile profile = DeviceProfile::charmera();
  profile.matchRules.filenamePattern = "([";
  EXPECT_FALSE(detect({profile}));
  profile.matchRules.filenamePattern.reset();
  EXPECT_FALSE(detect({profile}));
}

// Access

TEST_F(MountedVolume, thatHasLeftIsNoCameraAndNoError) {
  fs::remove(volume.path());
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, thatMayNotBeReadIsAnErrorWithItsName) {
  fs::permissions(folder.url().path(), fs::perms::all);
  fs::permissions(volume.path(), fs::perms::none);
  const OtherUser nobody;
  try {
    detect();
    FAIL() << "an unreadable volume was taken for none";
  } catch (const MediaSourceError& error) {
    EXPECT_EQ(error.volumeName(), "CARD");
  }
}

// Makes every openat of this process fail with EPERM from now on, as a system does that guards removable
// volumes.
bool forbidOpening() {
  std::array<sock_filter, 4> program = {
      sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 1),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{.len = program.size(), .filter = program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(MountedVolume, thatTheSystemForbidsIsAnErrorToo) {
  const pid_t child = fork();
  if (child == 0) {
    if (!forbidOpening()) {
      _exit(3);
    }
    try {
      source.detect(volume, DeviceProfile::builtIns());
    } catch (const MediaSourceError&) {
      _exit(0);
    } catch (...) {
      _exit(2);
    }
    _exit(1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: no error, 2: another error, 3: no seccomp here";
}

TEST_F(MountedVolume, isNotReadWhereNoProfileIsEligible) {
  add("file");  // reading it as a volume is an error
  const FileURL file = volume.appending("file");
  EXPECT_FALSE(source.detect(file, {}));
  EXPECT_FALSE(source.detect(file, {DeviceProfile::standardCameraCard()})) << "which is disabled";
  EXPECT_FALSE(source.detect(file, {granted(DeviceProfile::charmera(), "OTHER", {})}));
}

TEST_F(MountedVolume, thatIsAFileKeepsTheSystemsError) {
  add("file");
  try {
    source.detect(volume.appending("file"), DeviceProfile::builtIns());
    FAIL() << "a file was taken for a volume";
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), ENOTDIR);
  }
}

// The listing

TEST_F(MountedVolume, listsFilesAsAFileManagerSortsThem) {
  add("DCIM/100/PICT10.JPG");
  add("DCIM/100/PICT9.JPG");
  add("DCIM/99/PICT200.JPG");
  add("SPIDCIM/a.png");
  EXPECT_EQ(listed(),
            (Paths{"DCIM/99/PICT200.JPG", "DCIM/100/PICT9.JPG", "DCIM/100/PICT10.JPG", "SPIDCIM/a.png"}));
}

TEST_F(MountedVolume, givesEachFileWithItsFacts) {
  add("DCIM/100/PICT0001.JPG", "12345");
  timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = 1'700'000'000, .tv_nsec = 500}};
  ASSERT_EQ(utimensat(AT_FDCWD, volume.appending("DCIM/100/PICT0001.JPG").path().c_str(), times, 0), 0);
  const auto files = MountedVolumeMediaSource::mediaFiles(volume, DeviceProfile::charmera());
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0], (CameraMediaFile{.url = volume.appending("DCIM/100/PICT0001.JPG"),
                                       .volumeURL = volume,
                                       .relativePath = "DCIM/100/PICT0001.JPG",
                                       .filename = "PICT0001.JPG",
                                       .byteCount = 5,
                                       .modifiedAt = dateSince1970(1'700'000'000, 500)}));
}

TEST_F(MountedVolume, listsOnlySupportedExtensionsInAnyCase) {
  for (const char* name :
       {"a.JPG", "b.jpeg", "c.Heic", "d.png", "e.MOV", "f.mp4", "g.AVI", "h.txt", "i", ".avi", "jpg"}) {
    add(std::string("DCIM/") + name);
  }
  EXPECT_EQ(listed(), (Paths{"DCIM/a.JPG", "DCIM/b.jpeg", "DCIM/c.Heic", "DCIM/d.png", "DCIM/e.MOV",
                             "DCIM/f.mp4", "DCIM/g.AVI"}));
  EXPECT_EQ(listed(enabledCard()).size(), 6U) << "only the Charmera's profile takes AVI";
}

TEST_F(MountedVolume, listsAZeroByteFile) {
  add("DCIM/PICT0001.JPG", "");
  const auto files = MountedVolumeMediaSource::mediaFiles(volume, DeviceProfile::charmera());
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].byteCount, 0);
}

TEST_F(MountedVolume, listsNothingHiddenAndNothingInsideAPackage) {
  add("DCIM/._PICT0001.JPG");
  add("DCIM/.Trashes/PICT0002.JPG");
  add("DCIM/Album.photoslibrary/PICT0003.JPG");
  add("DCIM/Program.App/Contents/PICT0004.JPG");
  add("DCIM/100.plain/PICT0005.JPG");
  EXPECT_EQ(listed(), (Paths{"DCIM/100.plain/PICT0005.JPG"}));
}

TEST_F(MountedVolume, listsNothingOfTheSystemsFoldersAtItsRoot) {
  add("$RECYCLE.BIN/IMG_0001.JPG", "deleted");
  add("lost+found/IMG_0002.JPG", "repaired");
  add("pictures/lost+found/IMG_0003.JPG", "the user's own");
  EXPECT_EQ(listed(MountedVolumeMediaSource::customProfile(volume, {""})),
            (Paths{"pictures/lost+found/IMG_0003.JPG"}));
}

TEST_F(MountedVolume, listsNoLinksAndNothingBehindThem) {
  add("elsewhere/PICT0001.JPG");
  add("DCIM/PICT0002.JPG");
  link("DCIM/PICT0003.JPG", "PICT0002.JPG");
  link("DCIM/linked", "../elsewhere");
  EXPECT_EQ(listed(), (Paths{"DCIM/PICT0002.JPG"}));
}

TEST_F(MountedVolume, listsAFileOnceWhereOneRootIsALinkToTheOther) {
  add("DCIM/100/PICT0001.JPG");
  link("SPIDCIM", "DCIM");
  EXPECT_EQ(listed(), (Paths{"DCIM/100/PICT0001.JPG"}));
}

TEST_F(MountedVolume, listsAFileOnceWhereRootsAreNested) {
  add("DCIM/100/PICT0001.JPG");
  add("DCIM/PICT0002.JPG");
  DeviceProfile profile = DeviceProfile::charmera();
  profile.mediaRoots = {"DCIM/100", "DCIM", "", "DCIM/../DCIM"};
  EXPECT_EQ(listed(profile), (Paths{"DCIM/100/PICT0001.JPG", "DCIM/PICT0002.JPG"}));
}

TEST_F(MountedVolume, followsARootThatIsALinkOnTheVolume) {
  add("real/PICT0001.JPG");
  link("DCIM", "real");
  const auto files = MountedVolumeMediaSource::mediaFiles(volume, DeviceProfile::charmera());
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].relativePath, "real/PICT0001.JPG");
  EXPECT_EQ(files[0].url, volume.appending("real/PICT0001.JPG"));
  EXPECT_EQ(readFile(files[0].url), "x");
}

TEST_F(MountedVolume, neverFollowsARootThatLeavesTheVolume) {
  writeFile(folder / "outside/PICT0001.JPG", "x");
  writeFile(folder / "CARD2/PICT0001.JPG", "x");  // a neighbour whose path begins with the volume's
  link("DCIM", "../outside");
  link("SPIDCIM", "../CARD2");
  EXPECT_EQ(listed(), Paths());
  DeviceProfile upwards = DeviceProfile::charmera();
  upwards.mediaRoots = {"..", "../outside"};
  EXPECT_EQ(listed(upwards), Paths());
}

TEST_F(MountedVolume, reachedThroughALinkListsThePathsBelowTheRealVolume) {
  add("DCIM/PICT0001.JPG");
  fs::create_symlink(volume.path(), (folder / "link").path());
  const auto files = MountedVolumeMediaSource::mediaFiles(folder / "link", DeviceProfile::charmera());
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].relativePath, "DCIM/PICT0001.JPG");
  EXPECT_EQ(files[0].volumeURL, folder / "link");
  EXPECT_EQ(files[0].url, folder / "link/DCIM/PICT0001.JPG");
}

TEST_F(MountedVolume, isNamedInTheResultAsItWasAskedFor) {
  add("DCIM/PICT0001.JPG");
  addFolder("SPIDCIM");
  fs::create_symlink(volume.path(), (folder / "link").path());
  for (const FileURL& asked : {folder / "link", folder / "link/../link", folder / "CARD/../CARD"}) {
    const auto device = source.detect(asked, DeviceProfile::builtIns());
    ASSERT_TRUE(device) << asked.path();
    EXPECT_EQ(device->volumeURL.path(), asked.path());
    ASSERT_EQ(device->files.size(), 1U);
    EXPECT_EQ(device->files[0].volumeURL.path(), asked.path());
  }
}

TEST_F(MountedVolume, withoutMediaRootsListsNothing) {
  add("DCIM/PICT0001.JPG");
  DeviceProfile profile = DeviceProfile::charmera();
  profile.mediaRoots = {};
  EXPECT_EQ(listed(profile), Paths());
}

TEST_F(MountedVolume, skipsAMissingRoot) {
  add("SPIDCIM/PICT0001.JPG");
  EXPECT_EQ(listed(), (Paths{"SPIDCIM/PICT0001.JPG"}));
}

TEST_F(MountedVolume, failsWhereARootIsNoFolder) {
  add("DCIM");
  try {
    listed();
    FAIL() << "a file was walked";
  } catch (const CocoaError& error) {
    EXPECT_EQ(error.code(), 256);
  }
}

TEST_F(MountedVolume, failsWithoutAPartialListWhereAFolderCannotBeRead) {
  add("DCIM/100/PICT0001.JPG");
  add("DCIM/101/PICT0002.JPG");
  add("DCIM/102/PICT0003.JPG");
  fs::permissions(folder.url().path(), fs::perms::all);
  fs::permissions(volume.appending("DCIM/101").path(), fs::perms::none);
  const OtherUser nobody;
  try {
    detect({enabledCard()});
    FAIL() << "a partial list was returned";
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), EACCES);
  }
}

TEST_F(MountedVolume, listsTenThousandFilesOfOneFolderInOrder) {
  fs::create_directories(volume.appending("DCIM/100").path());
  for (int number = 10'000; number > 0; --number) {
    add("DCIM/100/PICT" + std::to_string(number) + ".JPG", "");
  }
  const Paths paths = listed();
  ASSERT_EQ(paths.size(), 10'000U);
  for (std::size_t index = 0; index < paths.size(); ++index) {
    ASSERT_EQ(paths[index], "DCIM/100/PICT" + std::to_string(index + 1) + ".JPG");
  }
}

TEST_F(MountedVolume, listsNamesThatAreNoUTF8) {
  add("DCIM/\xFF\xFE.JPG");
  EXPECT_EQ(listed(), (Paths{"DCIM/\xFF\xFE.JPG"}));
}

TEST_F(MountedVolume, keepsPathsThatCompareAsEqualInTheOrderOfTheWalk) {
  add("DCIM/one/e\u0301.JPG");
  add("DCIM/one/\u00e9.JPG");
  std::vector<std::string> walked;
  for (const auto& entry : fs::directory_iterator(volume.appending("DCIM/one").path())) {
    walked.push_back("DCIM/one/" + entry.path().filename().string());
  }
  EXPECT_EQ(listed(), walked);
}

TEST_F(MountedVolume, doesNotLookAtARootOutsideTheVolumeAtAll) {
  writeFile(folder / "outside", "a file, which could not be walked");
  link("DCIM", "../outside");
  EXPECT_EQ(listed(), Paths());
  writeFile(folder / "CARDigan", "a file whose path begins with the volume's");
  link("SPIDCIM", "../CARDigan");
  EXPECT_EQ(listed(), Paths());
}

TEST_F(MountedVolume, failsWhereAnEntryCannotBeLookedAt) {
  // A path that grows too long for the system to name: the folder can be listed, the file in it not looked
  // at.
  const std::string name(200, 'd');
  fs::create_directories(volume.appending("DCIM").path());
  fs::current_path(volume.appending("DCIM").path());
  std::size_t length = volume.path().size() + std::string("/DCIM").size();
  while (length + 1 + name.size() < 4095 - 150) {
    fs::create_directory(name);
    fs::current_path(name);
    length += 1 + name.size();
  }
  std::ofstream(std::string(4095 - length + 5, 'f') + ".JPG") << "x";
  fs::current_path("/");
  EXPECT_THROW(listed(), PosixError);
}

TEST_F(MountedVolume, reachedByAPipeInsteadOfAPhotoIsLeftAloneAtOnce) {
  addFolder("DCIM");
  ASSERT_EQ(mkfifo(volume.appending("DCIM/PICT0001.JPG").path().c_str(), 0600), 0);
  EXPECT_FALSE(detect());
}

TEST_F(MountedVolume, stopsBeforeARootAndBeforeAFileWhenCancelled) {
  CancellationSource cancelled;
  cancelled.cancel();
  const auto list = [&](const DeviceProfile& profile) {
    MountedVolumeMediaSource::mediaFiles(volume, profile, cancelled.token());
  };
  EXPECT_THROW(list(DeviceProfile::charmera()), CancellationError) << "though no root exists";
  DeviceProfile rootless = DeviceProfile::charmera();
  rootless.mediaRoots = {};
  EXPECT_NO_THROW(list(rootless));
}

TEST_F(MountedVolume, listsNoFurtherFileOnceCancelled) {
  if (const auto reason = OpenHook::reasonAgainst()) {
    GTEST_SKIP() << *reason;
  }
  add("DCIM/100/PICT0001.JPG");
  CancellationSource cancellation;
  const OpenHook hook(volume.appending("DCIM/100"), [&] { cancellation.cancel(); });
  EXPECT_THROW(MountedVolumeMediaSource::mediaFiles(volume, enabledCard(), cancellation.token()),
               CancellationError)
      << "when its one folder is opened, its one root has been begun";
}

TEST(MountedVolumeMediaSource, tellsErrorsOfAccessFromThoseOfAVolumeThatLeft) {
  const FileURL url("/media/card");
  const auto isDenied = [](const Error& error) {
    return MountedVolumeMediaSource::isAccessDeniedError(error);
  };
  const auto isMissing = [](const Error& error) {
    return MountedVolumeMediaSource::isMissingVolumeError(error);
  };
  using Code = CocoaError::Code;
  EXPECT_TRUE(isDenied(PosixError(EACCES, "open", url)));
  EXPECT_TRUE(isDenied(PosixError(EPERM, "open", url)));
  EXPECT_TRUE(isDenied(CocoaError(Code::fileReadNoPermission)));
  EXPECT_TRUE(isMissing(PosixError(ENOENT, "open", url)));
  EXPECT_TRUE(isMissing(CocoaError(Code::fileNoSuchFile)));
  EXPECT_TRUE(isMissing(CocoaError(Code::fileReadNoSuchFile)));
  for (const PosixError& other : {PosixError(EIO, "open", url), PosixError(ENOTDIR, "open", url)}) {
    EXPECT_FALSE(isDenied(other));
    EXPECT_FALSE(isMissing(other));
  }
  EXPECT_FALSE(isMissing(CocoaError(Code::fileReadUnknown)));
  EXPECT_FALSE(isDenied(CocoaError(Code::fileReadUnknown)));
  EXPECT_FALSE(isMissing(MediaSourceError::volumeAccessDenied("card")));
  EXPECT_FALSE(isDenied(PosixError(257, "open", url))) << "a number of the other domain";
}

TEST_F(MountedVolume, stopsWhenCancelled) {
  add("DCIM/PICT0001.JPG");
  addFolder("SPIDCIM");
  CancellationSource cancellation;
  EXPECT_TRUE(source.detect(volume, DeviceProfile::builtIns(), cancellation.token()));
  cancellation.cancel();
  EXPECT_THROW(source.detect(volume, DeviceProfile::builtIns(), cancellation.token()), CancellationError);
  EXPECT_THROW(MountedVolumeMediaSource::mediaFiles(volume, DeviceProfile::charmera(), cancellation.token()),
               CancellationError);
  EXPECT_THROW(source.detect(FileURL("/"), {}, cancellation.token()), CancellationError)
      << "before anything else";
}

// Profiles made for a volume

TEST_F(MountedVolume, addedByHandIsKeyedOnItsUUID) {
  const DeviceProfile profile = MountedVolumeMediaSource::customProfile(volume, {"DCIM", "SPIDCIM"});
  EXPECT_NE(profile.id, MountedVolumeMediaSource::customProfile(volume, {}).id);
  EXPECT_EQ(profile.name, "CARD");
  EXPECT_EQ(profile.kind, DeviceProfile::Kind::customMountedVolume);
  EXPECT_TRUE(profile.isEnabled);
  EXPECT_EQ(profile.mediaRoots, (Paths{"DCIM", "SPIDCIM"}));
  EXPECT_EQ(profile.supportedExtensions, DeviceProfile::standardCameraCard().supportedExtensions);
  EXPECT_EQ(profile.matchRules.volumeUUID, uuid());
  EXPECT_TRUE(profile.matchRules.volumeNames.empty());
  EXPECT_EQ(profile.matchRules.requiredPaths, (Paths{"DCIM", "SPIDCIM"}));
  EXPECT_EQ(profile.matchRules.filenamePattern, std::nullopt);
  EXPECT_EQ(profile.priority, 80);
  EXPECT_EQ(profile.securityScopedBookmark, std::nullopt);
}

TEST_F(MountedVolume, addedByHandIsKeyedOnItsNameWhereItHasNoUUID) {
  fs::remove(volume.path());  // nothing can be asked of it, so there is no UUID
  const DeviceProfile profile = MountedVolumeMediaSource::customProfile(volume, {"DCIM"});
  EXPECT_EQ(profile.name, "CARD");
  EXPECT_EQ(profile.matchRules.volumeUUID, std::nullopt);
  EXPECT_EQ(profile.matchRules.volumeNames, (Paths{"CARD"}));
}

}  // namespace
}  // namespace tolvander
