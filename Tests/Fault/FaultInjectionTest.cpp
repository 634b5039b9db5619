#include "Tests/Support/Machine/FaultInjection.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <string_view>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Platform/AtomicFile.h"

namespace tolvander::tests {

namespace {

using Names = std::vector<std::string>;

constexpr const char* sampleFolderVariable = "TOLVANDER_TEST_SAMPLE_FOLDER";
constexpr const char* tracer = "/usr/bin/strace";
constexpr std::string_view tracedCalls =
    "open,openat,creat,write,pwrite64,writev,pwritev,pwritev2,sendfile,copy_file_range,fsync,fdatasync,"
    "ftruncate,"
    "truncate,fallocate,fchmod,chmod,fchmodat,utimensat,rename,renameat,renameat2,unlink,unlinkat,rmdir,"
    "mkdir,"
    "mkdirat,link,linkat,symlink,symlinkat,ioctl";

void replace(const FileURL& target, std::string_view content, Durability durability) {
  AtomicFile file(target, durability);
  file.write(std::as_bytes(std::span(content)));
  file.commit();
}

// Changes of every kind: our own, and those that the C++ library makes.
void changeManyThings(const FileURL& folder) {
  createDirectories(folder.appending("a/b"), Durability::survivesPowerLoss);
  const FileURL file = folder.appending("a/b/file");
  replace(file, "first", Durability::survivesPowerLoss);
  chmod(file.path().c_str(), 0600);
  replace(file, "second", Durability::survivesPowerLoss);
  replace(file, std::string(100'000, 'x'), Durability::survivesProcess);
  writeFile(folder.appending(".c.01234567-89AB-CDEF-0123-456789ABCDEF.tmp"), "a leftover");
  AtomicFile::removeLeftovers(folder.appending("c"));
  std::filesystem::copy_file(file.path(), folder.appending("copy").path());
  std::filesystem::rename(folder.appending("copy").path(), folder.appending("moved").path());
  std::filesystem::create_hard_link(file.path(), folder.appending("hard").path());
  std::filesystem::create_symlink("hard", folder.appending("soft").path());
  std::filesystem::resize_file(file.path(), 10);
  std::filesystem::last_write_time(file.path(), std::filesystem::file_time_type());
  std::filesystem::remove_all(folder.appending("a").path());
}

// The name under which both tell of one call: the C library makes some calls by way of others.
std::string plainName(const std::string& name) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 18> families{{
      {"open64", "open"},
      {"openat", "open"},
      {"openat64", "open"},
      {"creat", "open"},
      {"fopen", "open"},
      {"fopen64", "open"},
      {"pwrite64", "pwrite"},
      {"ftruncate64", "ftruncate"},
      {"renameat", "rename"},
      {"renameat2", "rename"},
      {"unlinkat", "unlink"},
      {"rmdir", "unlink"},
      {"remove", "unlink"},
      {"mkdirat", "mkdir"},
      {"linkat", "link"},
      {"symlinkat", "symlink"},
      {"fchmodat", "chmod"},
      {"futimens", "utimensat"},
  }};
  const auto found = std::ranges::find(families, name, [](const auto& pair) { return pair.first; });
  return found != families.end() ? std::string(found->second) : name;
}

Names plainNames(const Names& names) {
  Names plain;
  for (const std::string& name : names) {
    if (name != "close") {  // a traced one doesn't tell whether it was of a file open for writing
      plain.push_back(plainName(name));
    }
  }
  return plain;
}

// One name a line, so that a failure shows the difference.
std::string joined(const Names& names) {
  std::string text;
  for (const std::string& name : names) {
    text += name + '\n';
  }
  return text;
}

// The calls of a trace that change something in the folder, whether they succeed or not.
Names namesFromTrace(const FileURL& trace, const FileURL& folder) {
  const std::regex callPattern(R"(^\d+\s+(\w+)\(.*)");
  std::ifstream lines(trace.path());
  Names names;
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (!std::regex_match(line, match, callPattern) || line.find(folder.path()) == std::string::npos) {
      continue;
    }
    if (line.find("= -1 EISDIR") != std::string::npos) {
      continue;  // of remove(3), which tries a folder as a file first
    }
    const std::string name = match[1];
    const bool isOpening = name.starts_with("open");
    if (!isOpening || line.find("O_CREAT") != std::string::npos ||
        line.find("O_TRUNC") != std::string::npos) {
      names.push_back(plainName(name));
    }
  }
  return names;
}

}  // namespace

TEST(FaultInjection, countsNothingInReading) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "content");
  EXPECT_EQ(mutatingCalls([&] { readFile(folder / "file"); }), Names{});
  EXPECT_EQ(mutatingCalls([&] { std::printf(" "); }), Names{}) << "the standard streams are not counted";
}

TEST(FaultInjection, tellsTheCallsInTheirOrder) {
  const TemporaryFolder folder;
  EXPECT_EQ(mutatingCalls([&] {
              const int file = open((folder / "file").path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
              EXPECT_EQ(write(file, "x", 1), 1);
              EXPECT_EQ(pwrite(file, "x", 1, 5), 1);
              EXPECT_EQ(ftruncate(file, 3), 0);
              EXPECT_EQ(fdatasync(file), 0);
              EXPECT_EQ(close(file), 0);
              EXPECT_EQ(unlink((folder / "file").path().c_str()), 0);
            }),
            (Names{"open", "write", "pwrite", "ftruncate", "fdatasync", "close", "unlink"}));
}

TEST(FaultInjection, failsTheChosenCallAlone) {
  const TemporaryFolder folder;
  const auto operation = [&] {
    EXPECT_EQ(mkdir((folder / "a").path().c_str(), 0700), 0);
    EXPECT_EQ(mkdir((folder / "b").path().c_str(), 0700), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(mkdir((folder / "c").path().c_str(), 0700), 0);
  };
  EXPECT_EQ(runWithFault(Fault::failing(ENOSPC), 2, operation).call, "mkdir");
  EXPECT_FALSE(std::filesystem::exists((folder / "b").path()));
}

TEST(FaultInjection, failsAllCallsFromTheChosenOne) {
  const TemporaryFolder folder;
  runWithFault(Fault::failingFromThenOn(EIO), 2, [&] {
    EXPECT_EQ(mkdir((folder / "a").path().c_str(), 0700), 0);
    EXPECT_EQ(mkdir((folder / "b").path().c_str(), 0700), -1);
    EXPECT_EQ(rmdir((folder / "a").path().c_str()), -1);
  });
}

TEST(FaultInjection, closesAFileWhoseClosingFails) {
  const TemporaryFolder folder;
  const int file = open((folder / "file").path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  runWithFault(Fault::failing(EIO), 1, [&] {
    EXPECT_EQ(close(file), -1);
    EXPECT_EQ(errno, EIO);
  });
  EXPECT_EQ(fcntl(file, F_GETFD), -1);
}

TEST(FaultInjection, killsInTheMiddleOfAWrite) {
  const TemporaryFolder folder;
  const int file = open((folder / "file").path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const FaultOutcome outcome = runWithFault(Fault::kill(), 2, [&] {
    EXPECT_EQ(write(file, "whole", 5), 5);
    EXPECT_EQ(write(file, "torn", 4), 4);
  });
  close(file);
  EXPECT_TRUE(outcome.wasKilled);
  EXPECT_EQ(outcome.call, "write");
  EXPECT_EQ(readFile(folder / "file"), "wholeto");
}

TEST(FaultInjection, tellsOfWhatTheOperationThrew) {
  const auto operation = [] { throw std::runtime_error("a message"); };
  const FaultOutcome here = runWithFault(Fault::failing(EIO), 1, operation);
  EXPECT_TRUE(here.threw);
  EXPECT_EQ(here.message, "a message");
  EXPECT_FALSE(here.wasHit());
  const FaultOutcome inChild = runWithFault(Fault::kill(), 1, operation);
  EXPECT_TRUE(inChild.threw);
  EXPECT_FALSE(inChild.wasKilled);
}

TEST(FaultInjection, visitsEveryPointAndTheRunWithoutAFault) {
  const TemporaryFolder folder;
  Names hits;
  const std::size_t count = forEachFaultPoint(
      Fault::failing(EIO), [] {}, [&] { replace(folder / "file", "new", Durability::survivesProcess); },
      [&](const FaultOutcome& outcome) { hits.push_back(outcome.call); });
  EXPECT_EQ(count + 1, hits.size());
  EXPECT_EQ(hits.back(), "");
  EXPECT_EQ(std::count(hits.begin(), hits.end(), ""), 1);
}

// Also run by the next test, in a child process that sets the folder.
TEST(FaultInjection, countsEveryChangeOfASample) {
  const TemporaryFolder temporary;
  const char* given = getenv(sampleFolderVariable);
  const FileURL folder = given != nullptr ? FileURL(given) : temporary / "sample";
  std::filesystem::create_directories(folder.path());
  const Names names = mutatingCalls([&] { changeManyThings(folder); });
  EXPECT_GT(names.size(), 30U);
  std::ofstream list(folder.deletingLastPathComponent().appending("names").path());
  for (const std::string& name : names) {
    list << name << '\n';
  }
}

TEST(FaultInjection, missesNoCallThatATracerSees) {
  if (access(tracer, X_OK) != 0) {
    GTEST_SKIP() << "strace is not installed";
  }
  if (system((std::string(tracer) + " -o /dev/null true 2>/dev/null").c_str()) != 0) {
    GTEST_SKIP() << "this process may not trace others";
  }
  const TemporaryFolder folder;
  const FileURL sample = folder / "sample";
  const FileURL trace = folder / "trace";
  std::filesystem::create_directory(sample.path());
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string command = std::string(sampleFolderVariable) + "='" + sample.path() +
                              "' GTEST_TOTAL_SHARDS=1 GTEST_SHARD_INDEX=0 ASAN_OPTIONS=detect_leaks=0 " +
                              tracer + " -f -y -s 0 -e trace=" + std::string(tracedCalls) + " -o '" +
                              trace.path() + "' '" + program +
                              "' --gtest_filter=FaultInjection.countsEveryChangeOfASample >/dev/null 2>&1";
  ASSERT_EQ(system(command.c_str()), 0);
  Names counted;
  std::ifstream list((folder / "names").path());
  for (std::string line; std::getline(list, line);) {
    counted.push_back(line);
  }
  EXPECT_GT(counted.size(), 30U);
  EXPECT_EQ(joined(plainNames(counted)), joined(namesFromTrace(trace, sample)));
}

}  // namespace tolvander::tests
