#include "TolvanderCore/Platform/FileSystem.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <limits>
#include <set>
#include <string>
#include <string_view>

#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

void makeFolder(const FileURL& url) { std::filesystem::create_directories(url.path()); }

void makeLink(const FileURL& link, std::string_view destination) {
  std::filesystem::create_symlink(destination, link.path());
}

void setPermissions(const FileURL& url, unsigned bits) {
  std::filesystem::permissions(url.path(), std::filesystem::perms(bits));
}

using Paths = std::multiset<std::string>;

Paths relativePaths(const std::vector<FileURL>& urls, const FileURL& root) {
  Paths paths;
  for (const FileURL& url : urls) {
    EXPECT_TRUE(url.isBelow(root)) << url.path();
    paths.insert(url.path().substr(root.path().size() + 1));
  }
  return paths;
}

std::vector<FileURL> walked(DirectoryEnumerator& enumerator) {
  std::vector<FileURL> urls;
  while (const auto url = enumerator.next()) {
    urls.push_back(*url);
  }
  return urls;
}

Paths walked(const FileURL& root, DirectoryEnumerator::ErrorHandler handler = nullptr) {
  auto enumerator = DirectoryEnumerator::at(root, std::move(handler));
  EXPECT_TRUE(enumerator) << root.path();
  return enumerator ? relativePaths(walked(*enumerator), root) : Paths();
}

// The errno value with which contentsOfDirectory fails; 0 when it doesn't.
std::int64_t failureOfContents(const FileURL& folder) {
  try {
    contentsOfDirectory(folder);
    return 0;
  } catch (const PosixError& error) {
    return error.code();
  }
}

std::int64_t failureOfValues(const FileURL& url) {
  try {
    fileResourceValues(url);
    return 0;
  } catch (const PosixError& error) {
    return error.code();
  }
}

// Makes folders in each other until the path of the innermost is longer than the system takes.
void makeFolderDeeperThanAnyPath(const FileURL& root) {
  const std::string name(250, 'd');
  const int home = open(".", O_PATH | O_CLOEXEC);
  ASSERT_EQ(chdir(root.path().c_str()), 0);
  for (std::size_t length = 0; length < PATH_MAX; length += name.size()) {
    ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
    ASSERT_EQ(chdir(name.c_str()), 0);
  }
  ASSERT_EQ(fchdir(home), 0);
  close(home);
}

}  // namespace

TEST(FileResourceValues, tellsAFileItsSizeAndItsDate) {
  const TemporaryFolder folder;
  const FileURL file = folder / "PICT0001.JPG";
  writeFile(file, "twelve bytes");
  const timespec times[2] = {{0, UTIME_OMIT}, {1'790'000'000, 123'456'789}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.path().c_str(), times, 0), 0);

  const FileResourceValues values = fileResourceValues(file);
  EXPECT_EQ(values, (FileResourceValues{true, false, false, 12, dateSince1970(1'790'000'000, 123'456'789)}));
}

TEST(FileResourceValues, tellsASizeOfZero) {
  const TemporaryFolder folder;
  writeFile(folder / "empty", "");
  EXPECT_EQ(fileResourceValues(folder / "empty").fileSize, 0);
}

TEST(FileResourceValues, tellsSizesBeyondThirtyTwoBits) {
  const TemporaryFolder folder;
  writeFile(folder / "large", "");
  std::filesystem::resize_file((folder / "large").path(), 5'000'000'000);
  EXPECT_EQ(fileResourceValues(folder / "large").fileSize, 5'000'000'000);
}

TEST(FileResourceValues, knowsFoldersAndGivesThemNoSize) {
  const TemporaryFolder folder;
  const FileResourceValues values = fileResourceValues(folder.url());
  EXPECT_TRUE(values.isDirectory);
  EXPECT_FALSE(values.isRegularFile);
  EXPECT_FALSE(values.isSymbolicLink);
  EXPECT_FALSE(values.fileSize);
  EXPECT_TRUE(values.contentModificationDate);
}

TEST(FileResourceValues, areThoseOfALinkItself) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "content");
  makeLink(folder / "link", "file");
  makeLink(folder / "broken", "nowhere");
  for (const char* name : {"link", "broken"}) {
    const FileResourceValues values = fileResourceValues(folder / name);
    EXPECT_TRUE(values.isSymbolicLink) << name;
    EXPECT_FALSE(values.isRegularFile) << name;
    EXPECT_FALSE(values.fileSize) << name;
  }
}

TEST(FileResourceValues, doNotCallPipesAndSocketsRegular) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").path().c_str(), 0600), 0);
  const int socketNumber = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = (folder / "socket").path();
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(bind(socketNumber, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(socketNumber);
  for (const char* name : {"pipe", "socket"}) {
    const FileResourceValues values = fileResourceValues(folder / name);
    EXPECT_FALSE(values.isRegularFile || values.isDirectory || values.isSymbolicLink) << name;
    EXPECT_FALSE(values.fileSize) << name;
  }
}

TEST(FileResourceValues, haveNoDateWhereNoneCanReach) {
  const TemporaryFolder folder;
  writeFile(folder / "ageless", "");
  constexpr time_t secondsOfTheYear2400 = 13'569'465'600;
  const timespec times[2] = {{0, UTIME_OMIT}, {secondsOfTheYear2400, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (folder / "ageless").path().c_str(), times, 0), 0);
  struct stat status {};
  ASSERT_EQ(stat((folder / "ageless").path().c_str(), &status), 0);
  if (status.st_mtim.tv_sec != secondsOfTheYear2400) {
    GTEST_SKIP() << "the file system doesn't keep dates beyond 2262";
  }
  EXPECT_FALSE(fileResourceValues(folder / "ageless").contentModificationDate);
}

TEST(FileResourceValues, failWithTheSystemsNumber) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  EXPECT_EQ(failureOfValues(folder / "missing"), ENOENT);
  EXPECT_EQ(failureOfValues(folder / "file/below"), ENOTDIR);
  EXPECT_EQ(failureOfValues(folder / std::string(300, 'n')), ENAMETOOLONG);
}

TEST(FileExists, followsLinks) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  makeLink(folder / "link", "file");
  makeLink(folder / "broken", "nowhere");
  makeLink(folder / "loop", "loop");
  EXPECT_TRUE(fileExists(folder.url()));
  EXPECT_TRUE(fileExists(folder / "file"));
  EXPECT_TRUE(fileExists(folder / "link"));
  EXPECT_FALSE(fileExists(folder / "broken"));
  EXPECT_FALSE(fileExists(folder / "loop"));
  EXPECT_FALSE(fileExists(folder / "missing"));
  EXPECT_FALSE(fileExists(folder / "file/below"));
}

TEST(FileExists, isFalseForWhatMayNotBeLookedAt) {
  const TemporaryFolder folder;
  setPermissions(folder.url(), 0755);
  writeFile(folder / "closed/file", "");
  setPermissions(folder / "closed", 0);
  {
    const OtherUser nobody;
    EXPECT_TRUE(fileExists(folder / "closed"));
    EXPECT_FALSE(fileExists(folder / "closed/file"));
  }
  setPermissions(folder / "closed", 0700);
}

TEST(Package, isToldByItsExtensionInAnyCase) {
  for (const char* name :
       {"Photos.app", "Mine.photoslibrary", "Old.APLIBRARY", "Film.iMovieLibrary", "x.dSYM", "a.b.pkg",
        "Tune.band", "d.prefPane", "z.xcodeproj", "w.xpc", "a.action"}) {
    EXPECT_TRUE(isPackage(FileURL("/volume").appending(name))) << name;
  }
}

TEST(Package, isNoOrdinaryFolder) {
  for (const char* name : {"DCIM", "app", ".app", "100.PENTX", "photos.app.old", "app.", "a.apps", "101MSDCF",
                           "2026.11.20", "a.\xC3\x84pp"}) {
    EXPECT_FALSE(isPackage(FileURL("/volume").appending(name))) << name;
  }
}

TEST(ContentsOfDirectory, areAllEntriesButHiddenOnes) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  writeFile(folder / "sub/inner", "");
  writeFile(folder / ".hidden", "");
  makeFolder(folder / ".Trashes");
  makeFolder(folder / "Library.photoslibrary");
  makeLink(folder / "broken", "nowhere");
  EXPECT_EQ(relativePaths(contentsOfDirectory(folder.url()), folder.url()),
            (Paths{"file", "sub", "Library.photoslibrary", "broken"}));
}

TEST(ContentsOfDirectory, followsALinkToTheFolderItself) {
  const TemporaryFolder folder;
  writeFile(folder / "folder/file", "");
  makeLink(folder / "link", "folder");
  EXPECT_EQ(contentsOfDirectory(folder / "link"), std::vector{folder / "link/file"});
}

TEST(ContentsOfDirectory, failsWithTheSystemsNumber) {
  const TemporaryFolder folder;
  setPermissions(folder.url(), 0755);
  writeFile(folder / "file", "");
  makeFolder(folder / "closed");
  setPermissions(folder / "closed", 0);
  EXPECT_EQ(failureOfContents(folder / "missing"), ENOENT);
  EXPECT_EQ(failureOfContents(folder / "file"), ENOTDIR);
  {
    const OtherUser nobody;
    EXPECT_EQ(failureOfContents(folder / "closed"), EACCES);
  }
}

TEST(DirectoryEnumerator, givesEveryEntryOnce) {
  const TemporaryFolder folder;
  writeFile(folder / "a/1", "");
  writeFile(folder / "a/b/2", "");
  writeFile(folder / "3", "");
  makeFolder(folder / "empty");
  EXPECT_EQ(walked(folder.url()), (Paths{"a", "a/1", "a/b", "a/b/2", "3", "empty"}));
}

TEST(DirectoryEnumerator, givesAFolderBeforeItsContents) {
  const TemporaryFolder folder;
  writeFile(folder / "a/b/c/d", "");
  auto enumerator = DirectoryEnumerator::at(folder.url());
  ASSERT_TRUE(enumerator);
  EXPECT_EQ(walked(*enumerator),
            (std::vector{folder / "a", folder / "a/b", folder / "a/b/c", folder / "a/b/c/d"}));
  EXPECT_FALSE(enumerator->next()) << "after the end";
}

TEST(DirectoryEnumerator, leavesOutHiddenEntriesAndWhatIsInThem) {
  const TemporaryFolder folder;
  writeFile(folder / ".hidden", "");
  writeFile(folder / ".Trash-1000/files/PICT0001.JPG", "");
  writeFile(folder / "DCIM/.PICT0001.JPG", "");
  writeFile(folder / "DCIM/PICT0001.JPG", "");
  EXPECT_EQ(walked(folder.url()), (Paths{"DCIM", "DCIM/PICT0001.JPG"}));
}

TEST(DirectoryEnumerator, leavesOutTheSystemsFoldersAtTheRootOfAVolumeOnly) {
  const TemporaryFolder folder;
  writeFile(folder / "System Volume Information/file", "");
  writeFile(folder / "$Recycle.Bin/S-1/PICT0001.JPG", "");
  writeFile(folder / "DCIM/lost+found/PICT0002.JPG", "");
  makeFolder(folder / "lost+found");
  setPermissions(folder.url(), 0755);
  setPermissions(folder / "lost+found", 0);
  const OtherUser nobody;  // may not list them either
  Paths paths;
  auto enumerator = DirectoryEnumerator::at(
      folder.url(), [](const FileURL&, const Error&) { return false; }, DirectoryEnumerator::Root::volume);
  ASSERT_TRUE(enumerator);
  while (const auto entry = enumerator->next()) {
    paths.insert(entry->path().substr(folder.url().path().size() + 1));
  }
  EXPECT_EQ(paths, (Paths{"DCIM", "DCIM/lost+found", "DCIM/lost+found/PICT0002.JPG"}));
  EXPECT_EQ(walked(folder / "DCIM"), (Paths{"lost+found", "lost+found/PICT0002.JPG"})) << "no volume";
}

TEST(DirectoryEnumerator, givesPackagesAndDoesNotEnterThem) {
  const TemporaryFolder folder;
  writeFile(folder / "Mine.PhotosLibrary/originals/1.jpg", "");
  writeFile(folder / "plain/Film.fcpbundle/1.mov", "");
  writeFile(folder / "file.app", "");
  EXPECT_EQ(walked(folder.url()), (Paths{"Mine.PhotosLibrary", "plain", "plain/Film.fcpbundle", "file.app"}));
}

TEST(DirectoryEnumerator, givesLinksAndDoesNotFollowThem) {
  const TemporaryFolder folder;
  writeFile(folder / "outside/file", "");
  makeFolder(folder / "root");
  makeLink(folder / "root/toFolder", "../outside");
  makeLink(folder / "root/toFile", "../outside/file");
  makeLink(folder / "root/toRoot", ".");
  makeLink(folder / "root/broken", "nowhere");
  EXPECT_EQ(walked(folder / "root"), (Paths{"toFolder", "toFile", "toRoot", "broken"}));
}

TEST(DirectoryEnumerator, entersAHiddenRootAPackageAndALink) {
  const TemporaryFolder folder;
  writeFile(folder / ".hidden/file", "");
  writeFile(folder / "Some.app/file", "");
  makeLink(folder / "link", ".hidden");
  for (const char* root : {".hidden", "Some.app", "link"}) {
    EXPECT_EQ(walked(folder / root), Paths{"file"}) << root;
  }
}

TEST(DirectoryEnumerator, keepsTheRootAsItIsSpelt) {
  const TemporaryFolder folder;
  writeFile(folder / "a/file", "");
  auto enumerator = DirectoryEnumerator::at(FileURL((folder / "a").path() + "/../a/"));
  ASSERT_TRUE(enumerator);
  EXPECT_EQ(enumerator->next()->path(), (folder / "a").path() + "/../a/file");
}

TEST(DirectoryEnumerator, isAbsentWithoutAFolder) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  makeLink(folder / "broken", "nowhere");
  for (const char* root : {"missing", "file", "broken", "file/below"}) {
    EXPECT_FALSE(DirectoryEnumerator::at(folder / root)) << root;
  }
}

TEST(DirectoryEnumerator, reportsARootThatMayNotBeReadByTheFirstCall) {
  const TemporaryFolder folder;
  setPermissions(folder.url(), 0755);
  makeFolder(folder / "closed/below");
  setPermissions(folder / "closed", 0);
  {
    const OtherUser nobody;
    for (const char* root : {"closed", "closed/below"}) {
      std::int64_t code = 0;
      auto enumerator = DirectoryEnumerator::at(folder / root, [&](const FileURL& url, const Error& error) {
        EXPECT_EQ(url, folder / root);
        EXPECT_EQ(error.domain(), PosixError::errorDomain);
        code = error.code();
        return true;
      });
      ASSERT_TRUE(enumerator);
      EXPECT_EQ(code, 0);
      EXPECT_FALSE(enumerator->next());
      EXPECT_EQ(code, EACCES);
    }
  }
  setPermissions(folder / "closed", 0700);
}

TEST(DirectoryEnumerator, goesOnPastAClosedFolderWhenTheHandlerSaysSo) {
  const TemporaryFolder folder;
  setPermissions(folder.url(), 0755);
  writeFile(folder / "closed/file", "");
  for (const char* name : {"1", "2", "3", "4"}) {
    writeFile(folder / name, "");
  }
  setPermissions(folder / "closed", 0);
  {
    const OtherUser nobody;
    int calls = 0;
    EXPECT_EQ(walked(folder.url(),
                     [&](const FileURL& url, const Error& error) {
                       ++calls;
                       EXPECT_EQ(url, folder / "closed");
                       EXPECT_EQ(error.code(), EACCES);
                       return true;
                     }),
              (Paths{"closed", "1", "2", "3", "4"}));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(walked(folder.url()), (Paths{"closed", "1", "2", "3", "4"})) << "without a handler";
  }
  setPermissions(folder / "closed", 0700);
}

TEST(DirectoryEnumerator, endsAtOnceWhenTheHandlerSaysSo) {
  const TemporaryFolder folder;
  setPermissions(folder.url(), 0755);
  for (const char* name : {"a/b/closed", "a/after", "a/b/after", "after"}) {
    makeFolder(folder / name);
  }
  setPermissions(folder / "a/b/closed", 0);
  {
    const OtherUser nobody;
    bool wasAsked = false;
    auto enumerator = DirectoryEnumerator::at(folder.url(), [&](const FileURL&, const Error&) {
      wasAsked = true;
      return false;
    });
    ASSERT_TRUE(enumerator);
    std::optional<FileURL> last;
    while (const auto url = enumerator->next()) {
      EXPECT_FALSE(wasAsked) << url->path() << " was given after the end";
      last = url;
    }
    EXPECT_EQ(last, folder / "a/b/closed");
    EXPECT_FALSE(enumerator->next());
  }
}

TEST(DirectoryEnumerator, givesTenThousandFiles) {
  const TemporaryFolder folder;
  Paths expected;
  for (int number = 0; number < 10'000; ++number) {
    expected.insert("PICT" + std::to_string(number) + ".JPG");
  }
  for (const std::string& name : expected) {
    const int file = open((folder / name).path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    close(file);
  }
  EXPECT_EQ(walked(folder.url()), expected);
}

TEST(DirectoryEnumerator, givesNamesAsTheBytesThatTheyAre) {
  const TemporaryFolder folder;
  for (const char* name : {"line\nend", "latin\xE9", "\xFF\xFE", " ", "back\\slash", "a*?"}) {
    writeFile((folder / name).appending("file"), "");
  }
  EXPECT_EQ(walked(folder.url()),
            (Paths{"line\nend", "line\nend/file", "latin\xE9", "latin\xE9/file", "\xFF\xFE", "\xFF\xFE/file",
                   " ", " /file", "back\\slash", "back\\slash/file", "a*?", "a*?/file"}));
}

TEST(DirectoryEnumerator, reportsAFolderThatVanishedBeforeItWasEntered) {
  const TemporaryFolder folder;
  writeFile(folder / "sub/file", "");
  std::int64_t code = 0;
  auto enumerator = DirectoryEnumerator::at(folder.url(), [&](const FileURL& url, const Error& error) {
    EXPECT_EQ(url, folder / "sub");
    code = error.code();
    return true;
  });
  EXPECT_EQ(enumerator->next(), folder / "sub");
  std::filesystem::remove_all((folder / "sub").path());
  EXPECT_FALSE(enumerator->next());
  EXPECT_EQ(code, ENOENT);
}

TEST(DirectoryEnumerator, doesNotEnterALinkThatTookAFoldersPlace) {
  const TemporaryFolder folder;
  writeFile(folder / "outside/secret", "");
  makeFolder(folder / "root/sub");
  int errors = 0;
  auto enumerator = DirectoryEnumerator::at(folder / "root", [&](const FileURL&, const Error&) {
    ++errors;
    return true;
  });
  EXPECT_EQ(enumerator->next(), folder / "root/sub");
  std::filesystem::remove((folder / "root/sub").path());
  makeLink(folder / "root/sub", "../outside");
  EXPECT_FALSE(enumerator->next());
  EXPECT_EQ(errors, 1);
}

TEST(DirectoryEnumerator, survivesTheRemovalOfWhatItIsWalking) {
  const TemporaryFolder folder;
  writeFile(folder / "root/a/b/file", "");
  writeFile(folder / "root/z/file", "");
  auto enumerator = DirectoryEnumerator::at(folder / "root");
  ASSERT_TRUE(enumerator->next());
  std::filesystem::remove_all((folder / "root").path());
  EXPECT_LE(walked(*enumerator).size(), 1U);
}

TEST(DirectoryEnumerator, reportsAPathThatIsTooLong) {
  const TemporaryFolder folder;
  makeFolderDeeperThanAnyPath(folder.url());
  std::int64_t code = 0;
  const Paths paths = walked(folder.url(), [&](const FileURL&, const Error& error) {
    code = error.code();
    return true;
  });
  EXPECT_EQ(code, ENAMETOOLONG);
  EXPECT_GE(paths.size(), 15U);
}

TEST(DirectoryEnumerator, holdsNoDescriptorBetweenTwoCalls) {
  const TemporaryFolder folder;
  writeFile(folder / "a/b/c/file", "");
  const auto openDescriptors = [] { return std::filesystem::directory_iterator("/proc/self/fd"); };
  const auto before = std::distance(openDescriptors(), {});
  auto enumerator = DirectoryEnumerator::at(folder.url());
  while (enumerator->next()) {
    EXPECT_EQ(std::distance(openDescriptors(), {}), before);
  }
}

}  // namespace tolvander::tests
