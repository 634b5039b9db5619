#include "TolvanderCore/Platform/AtomicFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

namespace {

constexpr Durability allDurabilities[] = {Durability::survivesPowerLoss, Durability::survivesProcess};
const std::string leftoverEnd = ".01234567-89AB-CDEF-0123-456789ABCDEF.tmp";

void writeText(AtomicFile& file, std::string_view text) { file.write(std::as_bytes(std::span(text))); }

void replace(const FileURL& target, std::string_view content,
             Durability durability = Durability::survivesPowerLoss) {
  AtomicFile file(target, durability);
  writeText(file, content);
  file.commit();
}

// The errno value with which the operation fails; 0 when it doesn't.
std::int64_t failureOf(const std::function<void()>& operation) {
  try {
    operation();
    return 0;
  } catch (const PosixError& error) {
    return error.code();
  }
}

unsigned permissionsOf(const FileURL& url) {
  struct stat status {};
  EXPECT_EQ(stat(url.path().c_str(), &status), 0);
  return status.st_mode & 07777U;
}

std::ptrdiff_t entriesOf(const FileURL& folder) {
  return std::distance(std::filesystem::directory_iterator(folder.path()), {});
}

bool isThere(const FileURL& url) {
  return std::filesystem::exists(std::filesystem::symlink_status(url.path()));
}

class AtomicFileDurability : public testing::TestWithParam<Durability> {};

}  // namespace

TEST_P(AtomicFileDurability, makesAFirstFile) {
  const TemporaryFolder folder;
  replace(folder / "history.json", "new", GetParam());
  EXPECT_EQ(readFile(folder / "history.json"), "new");
  EXPECT_EQ(entriesOf(folder.url()), 1);
}

TEST_P(AtomicFileDurability, replacesAFile) {
  const TemporaryFolder folder;
  writeFile(folder / "history.json", "a longer old content");
  replace(folder / "history.json", "new", GetParam());
  EXPECT_EQ(readFile(folder / "history.json"), "new");
  EXPECT_EQ(entriesOf(folder.url()), 1);
}

TEST_P(AtomicFileDurability, keepsTheOldFileForWhoHasItOpen) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  const int reader = open((folder / "file").path().c_str(), O_RDONLY | O_CLOEXEC);
  replace(folder / "file", "new", GetParam());
  char content[4] = {};
  EXPECT_EQ(read(reader, content, sizeof content), 3);
  EXPECT_STREQ(content, "old");
  close(reader);
}

TEST_P(AtomicFileDurability, changesNothingBeforeTheCommit) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  {
    AtomicFile file(folder / "file", GetParam());
    writeText(file, "new");
    EXPECT_EQ(readFile(folder / "file"), "old");
    EXPECT_EQ(entriesOf(folder.url()), 2);
  }
  EXPECT_EQ(readFile(folder / "file"), "old");
  EXPECT_EQ(entriesOf(folder.url()), 1);
}

TEST_P(AtomicFileDurability, makesAnEmptyFile) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  replace(folder / "file", "", GetParam());
  EXPECT_EQ(readFile(folder / "file"), "");
}

TEST_P(AtomicFileDurability, appendsEachWrite) {
  const TemporaryFolder folder;
  std::string expected;
  AtomicFile file(folder / "file", GetParam());
  for (int part = 0; part < 40; ++part) {
    const std::string text(static_cast<std::size_t>(part) * 1001, static_cast<char>('a' + part % 26));
    writeText(file, text);
    expected += text;
  }
  file.commit();
  EXPECT_EQ(readFile(folder / "file"), expected);
}

TEST_P(AtomicFileDurability, replacesTheFileThatALinkLeadsTo) {
  const TemporaryFolder folder;
  writeFile(folder / "real/file", "old");
  std::filesystem::create_directory((folder / "links").path());
  std::filesystem::create_symlink("../real/file", (folder / "links/relative").path());
  std::filesystem::create_symlink((folder / "links/relative").path(), (folder / "chain").path());
  replace(folder / "chain", "new", GetParam());
  EXPECT_EQ(readFile(folder / "real/file"), "new");
  EXPECT_TRUE(std::filesystem::is_symlink((folder / "chain").path()));
  EXPECT_TRUE(std::filesystem::is_symlink((folder / "links/relative").path()));
  EXPECT_FALSE(std::filesystem::is_symlink((folder / "real/file").path()));
  EXPECT_EQ(entriesOf(folder / "real"), 1);
  EXPECT_EQ(entriesOf(folder / "links"), 1);
}

TEST_P(AtomicFileDurability, makesTheFileThatABrokenLinkLeadsTo) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("file", (folder / "link").path());
  replace(folder / "link", "new", GetParam());
  EXPECT_TRUE(std::filesystem::is_symlink((folder / "link").path()));
  EXPECT_EQ(readFile(folder / "file"), "new");
}

TEST_P(AtomicFileDurability, keepsThePermissionsOfTheOldFile) {
  const TemporaryFolder folder;
  const FileURL file = folder / "file";
  for (const unsigned bits : {0600U, 0640U, 0444U, 0755U, 0666U, 0200U}) {
    writeFile(file, "old");
    ASSERT_EQ(chmod(file.path().c_str(), bits), 0);
    replace(file, "new", GetParam());
    EXPECT_EQ(permissionsOf(file), bits);
    std::filesystem::remove(file.path());
  }
}

TEST_P(AtomicFileDurability, givesAFirstFileThePermissionsOfAnyNewFile) {
  inChildProcess([] {
    const TemporaryFolder folder;
    umask(027);
    replace(folder / "file", "new", GetParam());
    EXPECT_EQ(permissionsOf(folder / "file"), 0640U);
  });
}

TEST_P(AtomicFileDurability, showsNobodyTheNewContentWhoMayNotSeeTheOld) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  ASSERT_EQ(chmod((folder / "file").path().c_str(), 0600), 0);
  const AtomicFile file(folder / "file", GetParam());
  for (const auto& entry : std::filesystem::directory_iterator(folder.url().path())) {
    EXPECT_EQ(permissionsOf(FileURL(entry.path())), 0600U) << entry.path();
  }
}

TEST_P(AtomicFileDurability, replacesAFileWithTheLongestName) {
  const TemporaryFolder folder;
  const FileURL target = folder / std::string(255, 'n');
  replace(target, "first", GetParam());
  replace(target, "second", GetParam());
  EXPECT_EQ(readFile(target), "second");
}

TEST_P(AtomicFileDurability, failsWhereItCannotWrite) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  std::filesystem::create_directory((folder / "folder").path());
  std::filesystem::create_symlink("loop", (folder / "loop").path());
  const auto failure = [](const FileURL& url) { return failureOf([&] { replace(url, "new", GetParam()); }); };
  EXPECT_EQ(failure(folder / "missing/file"), ENOENT);
  EXPECT_EQ(failure(folder / "file/below"), ENOTDIR);
  EXPECT_EQ(failure(folder / "folder"), EISDIR);
  EXPECT_EQ(failure(folder / "loop"), ELOOP);
  EXPECT_TRUE(std::filesystem::is_directory((folder / "folder").path()));
  EXPECT_EQ(entriesOf(folder.url()), 3);
}

TEST_P(AtomicFileDurability, failsInAFolderThatMayNotBeWritten) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  std::filesystem::permissions(folder.url().path(), std::filesystem::perms(0555));
  {
    const OtherUser nobody;
    EXPECT_EQ(failureOf([&] { replace(folder / "file", "new", GetParam()); }), EACCES);
  }
  EXPECT_EQ(readFile(folder / "file"), "old");
  std::filesystem::permissions(folder.url().path(), std::filesystem::perms(0755));
}

TEST_P(AtomicFileDurability, failsWhenItsFolderHasVanished) {
  const TemporaryFolder folder;
  std::filesystem::create_directory((folder / "sub").path());
  AtomicFile file(folder / "sub/file", GetParam());
  writeText(file, "new");
  std::filesystem::remove_all((folder / "sub").path());
  EXPECT_EQ(failureOf([&] { file.commit(); }), ENOENT);
}

TEST_P(AtomicFileDurability, keepsTheOldFileWhenTheDiskIsFull) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  inPrivateMountNamespace([] {
    const TemporaryFolder folder;
    ASSERT_EQ(mount("tmpfs", folder.url().path().c_str(), "tmpfs", 0, "size=1m"), 0);
    const std::string old(300'000, 'o');
    writeFile(folder / "file", old);
    EXPECT_EQ(failureOf([&] { replace(folder / "file", std::string(900'000, 'n'), GetParam()); }), ENOSPC);
    EXPECT_EQ(readFile(folder / "file"), old);
    EXPECT_EQ(entriesOf(folder.url()), 1);
    replace(folder / "file", "fits", GetParam());
    EXPECT_EQ(readFile(folder / "file"), "fits");
    umount(folder.url().path().c_str());
  });
}

TEST_P(AtomicFileDurability, worksWhereTwoNamesCannotBeExchanged) {
  for (const auto& reason :
       {reasonAgainstPrivateMounts(), LoopVolume::reasonAgainst(LoopVolume::Format::exfat)}) {
    if (reason) {
      GTEST_SKIP() << *reason;
    }
  }
  inPrivateMountNamespace([] {
    LoopVolume volume(LoopVolume::Format::exfat, "CAM");
    const FileURL target = volume.mountPoint().appending("file");
    replace(target, "first", GetParam());
    replace(target, "second", GetParam());
    EXPECT_EQ(entriesOf(volume.mountPoint()), 1);
    volume.remount();
    EXPECT_EQ(readFile(target), "second");

    // Its driver refuses, or it says that it exchanged them and lost one.
    const FileURL other = volume.mountPoint().appending("other");
    writeFile(other, "");
    renameat2(AT_FDCWD, target.path().c_str(), AT_FDCWD, other.path().c_str(), RENAME_EXCHANGE);
    volume.remount();
    EXPECT_FALSE(std::filesystem::exists(target.path()) && readFile(other) == "second")
        << "this file system proves nothing";
  });
}

TEST_P(AtomicFileDurability, givesReadersTheOldOrTheNewFileAndNothingElse) {
  const TemporaryFolder folder;
  const FileURL target = folder / "file";
  const std::string contents[] = {std::string(40'000, 'a'), std::string(90'000, 'b')};
  replace(target, contents[0], GetParam());
  std::thread writer([&] {
    for (std::size_t round = 0; round < 30; ++round) {
      replace(target, contents[round % 2], GetParam());
    }
  });
  for (int round = 0; round < 60; ++round) {
    const std::string read = readFile(target);
    EXPECT_TRUE(read == contents[0] || read == contents[1]) << read.size();
  }
  writer.join();
}

TEST_P(AtomicFileDurability, letsTwoProcessesReplaceAtOnce) {
  const TemporaryFolder folder;
  const FileURL target = folder / "file";
  const auto replaceManyTimes = [&](char letter, std::size_t size) {
    for (int round = 0; round < 30; ++round) {
      replace(target, std::string(size, letter), GetParam());
      AtomicFile::removeLeftovers(target);
    }
  };
  inTwoChildProcesses([&] { replaceManyTimes('a', 30'000); }, [&] { replaceManyTimes('b', 50'000); });
  const std::string last = readFile(target);
  EXPECT_TRUE(last == std::string(30'000, 'a') || last == std::string(50'000, 'b')) << last.size();
  EXPECT_EQ(entriesOf(folder.url()), 1);
}

INSTANTIATE_TEST_SUITE_P(AtomicFile, AtomicFileDurability, testing::ValuesIn(allDurabilities),
                         [](const auto& durability) {
                           return durability.param == Durability::survivesPowerLoss ? "survivesPowerLoss"
                                                                                    : "survivesProcess";
                         });

TEST(AtomicFileLeftovers, areRemoved) {
  const TemporaryFolder folder;
  const FileURL leftover = folder / (".history.json" + leftoverEnd);
  writeFile(folder / "history.json", "whole");
  writeFile(leftover, "half");
  AtomicFile::removeLeftovers(folder / "history.json");
  EXPECT_FALSE(isThere(leftover));
  EXPECT_EQ(readFile(folder / "history.json"), "whole");
}

TEST(AtomicFileLeftovers, areThoseOfAProcessThatDied) {
  const TemporaryFolder folder;
  const FileURL target = folder / "history.json";
  const pid_t child = fork();
  if (child == 0) {
    AtomicFile file(target, Durability::survivesPowerLoss);
    writeText(file, "half");
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(entriesOf(folder.url()), 1);
  AtomicFile::removeLeftovers(target);
  EXPECT_EQ(entriesOf(folder.url()), 0);
}

TEST(AtomicFileLeftovers, areFoundThroughALink) {
  const TemporaryFolder folder;
  const FileURL leftover = folder / ("real/.file" + leftoverEnd);
  writeFile(leftover, "half");
  std::filesystem::create_symlink("real/file", (folder / "link").path());
  AtomicFile::removeLeftovers(folder / "link");
  EXPECT_FALSE(isThere(leftover));
}

TEST(AtomicFileLeftovers, areNotWhatSomebodyIsWriting) {
  const TemporaryFolder folder;
  const FileURL target = folder / "file";
  AtomicFile file(target, Durability::survivesProcess);
  writeText(file, "new");
  AtomicFile::removeLeftovers(target);
  inChildProcess([&] { AtomicFile::removeLeftovers(target); });
  file.commit();
  EXPECT_EQ(readFile(target), "new");
}

TEST(AtomicFileLeftovers, areNoFilesOfOtherNames) {
  const TemporaryFolder folder;
  const std::string& end = leftoverEnd;
  const std::vector<std::string> names{
      ".other" + end, "file" + end, ".file" + end + "x", ".file.x" + end,
      ".file.tmp",    ".file..tmp", ".file.0123.tmp",    ".file" + end.substr(0, end.size() - 4),
      "..file" + end, ".fil" + end, ".FILE" + end,       ".file.G" + end.substr(2),
  };
  for (const std::string& name : names) {
    writeFile(folder / name, "");
  }
  AtomicFile::removeLeftovers(folder / "file");
  for (const std::string& name : names) {
    EXPECT_TRUE(isThere(folder / name)) << name;
  }
}

TEST(AtomicFileLeftovers, areOnlyRegularFiles) {
  const TemporaryFolder folder;
  const FileURL place = folder / (".file" + leftoverEnd);
  writeFile(folder / "precious", "content");
  std::filesystem::create_symlink("precious", place.path());
  AtomicFile::removeLeftovers(folder / "file");
  EXPECT_TRUE(isThere(place));
  EXPECT_EQ(readFile(folder / "precious"), "content");

  std::filesystem::remove(place.path());
  ASSERT_EQ(mkfifo(place.path().c_str(), 0600), 0);
  AtomicFile::removeLeftovers(folder / "file");
  EXPECT_TRUE(isThere(place));

  std::filesystem::remove(place.path());
  std::filesystem::create_directory(place.path());
  AtomicFile::removeLeftovers(folder / "file");
  EXPECT_TRUE(isThere(place));
}

TEST(AtomicFileLeftovers, doNotMatterWhereThereIsNoFolder) {
  const TemporaryFolder folder;
  AtomicFile::removeLeftovers(folder / "missing/file");
  EXPECT_EQ(entriesOf(folder.url()), 0);
}

TEST(CreateDirectories, makesTheMissingOnes) {
  for (const Durability durability : allDurabilities) {
    const TemporaryFolder folder;
    createDirectories(folder / "a/b/c", durability);
    EXPECT_TRUE(std::filesystem::is_directory((folder / "a/b/c").path()));
    writeFile(folder / "a/b/c/file", "content");
    createDirectories(folder / "a/b/c/", durability);
    EXPECT_EQ(readFile(folder / "a/b/c/file"), "content");
  }
}

TEST(CreateDirectories, acceptsALinkToAFolder) {
  const TemporaryFolder folder;
  std::filesystem::create_directory((folder / "real").path());
  std::filesystem::create_symlink("real", (folder / "link").path());
  createDirectories(folder / "link/below", Durability::survivesPowerLoss);
  EXPECT_TRUE(std::filesystem::is_directory((folder / "real/below").path()));
}

TEST(CreateDirectories, failsWhereAFileIsInTheWay) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "");
  std::filesystem::create_symlink("nowhere", (folder / "broken").path());
  for (const char* path : {"file", "file/below", "file/far/below", "broken"}) {
    EXPECT_EQ(failureOf([&] { createDirectories(folder / path, Durability::survivesPowerLoss); }), ENOTDIR)
        << path;
  }
}

TEST(CreateDirectories, failsWithoutPermission) {
  if (getuid() != 0) {
    GTEST_SKIP() << "becoming another user needs root";
  }
  const TemporaryFolder folder;
  std::filesystem::permissions(folder.url().path(), std::filesystem::perms(0755));
  {
    const OtherUser nobody;
    EXPECT_EQ(failureOf([&] { createDirectories(folder / "a/b", Durability::survivesProcess); }), EACCES);
  }
}

}  // namespace tolvander::tests
