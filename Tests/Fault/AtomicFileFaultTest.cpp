#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>

#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Platform/AtomicFile.h"

namespace tolvander::tests {

namespace {

using Names = std::vector<std::string>;

const std::string oldContent(3000, 'o');
const std::string newContent(5000, 'n');

struct Situation {
  bool hasOldFile;
  Durability durability;
};

class AtomicFileFaults : public testing::TestWithParam<Situation> {
 protected:
  void setUp() const {
    std::filesystem::remove_all(folder().path());
    std::filesystem::create_directory(folder().path());
    if (GetParam().hasOldFile) {
      writeFile(target(), oldContent);
      chmod(target().path().c_str(), 0600);  // so that permissions have to be set as well
    }
  }

  // In two writes, so that there is something between them.
  void replace() const {
    AtomicFile file(target(), GetParam().durability);
    const auto bytes = std::as_bytes(std::span(newContent));
    file.write(bytes.first(1000));
    file.write(bytes.subspan(1000));
    file.commit();
  }

  FileURL folder() const { return temporary_ / "folder"; }
  FileURL target() const { return folder().appending("history.json"); }

  bool targetIsOld() const {
    return GetParam().hasOldFile ? exists() && readFile(target()) == oldContent : !exists();
  }
  bool targetIsNew() const { return exists() && readFile(target()) == newContent; }

  void expectNothingButTheTarget() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder().path())) {
      EXPECT_EQ(entry.path(), target().path());
    }
  }

  // The file that is there has the permissions that it has to have.
  void expectPermissions() const {
    struct stat status {};
    if (GetParam().hasOldFile && stat(target().path().c_str(), &status) == 0) {
      EXPECT_EQ(status.st_mode & 0777U, 0600U);
    }
  }

  std::size_t forEachPoint(const Fault& fault, const std::function<void(const FaultOutcome&)>& verify) const {
    return forEachFaultPoint(
        fault, [this] { setUp(); }, [this] { replace(); },
        [&](const FaultOutcome& outcome) {
          verify(outcome);
          expectPermissions();
          if (!outcome.wasHit()) {
            EXPECT_TRUE(targetIsNew());
            EXPECT_FALSE(outcome.threw);
          }
        });
  }

 private:
  bool exists() const { return std::filesystem::exists(target().path()); }

  TemporaryFolder temporary_;
};

}  // namespace

TEST_P(AtomicFileFaults, keepWhatWasThereWhenAnErrorIsThrown) {
  for (const int errorNumber : {EIO, ENOSPC}) {
    const std::size_t points = forEachPoint(Fault::failing(errorNumber), [&](const FaultOutcome& outcome) {
      EXPECT_TRUE(outcome.threw ? targetIsOld() : targetIsNew()) << outcome.message;
      AtomicFile::removeLeftovers(target());
      expectNothingButTheTarget();
    });
    EXPECT_GE(points, GetParam().durability == Durability::survivesPowerLoss ? 7U : 5U);
  }
}

TEST_P(AtomicFileFaults, areErrorsUnlessTheChangeIsMade) {
  setUp();
  const Names calls = mutatingCalls([this] { replace(); });
  const auto lastOf = [&](std::string_view beginning) {
    const auto found = std::find_if(calls.rbegin(), calls.rend(),
                                    [&](const auto& call) { return call.starts_with(beginning); });
    return static_cast<std::size_t>(calls.rend() - found);
  };
  // After it the new content is in its place for good, and taking the old one away may fail in silence.
  const std::size_t pointOfTheChange =
      lastOf(GetParam().durability == Durability::survivesPowerLoss ? "fsync" : "rename");
  ASSERT_GE(pointOfTheChange, 4U);
  forEachPoint(Fault::failing(EIO), [&](const FaultOutcome& outcome) {
    EXPECT_EQ(outcome.threw, outcome.wasHit() && outcome.point <= pointOfTheChange);
  });
}

TEST_P(AtomicFileFaults, leaveAWholeFileWhenTheDiskIsGone) {
  forEachPoint(Fault::failingFromThenOn(EIO), [&](const FaultOutcome& outcome) {
    EXPECT_TRUE(targetIsOld() || targetIsNew());
    EXPECT_TRUE(outcome.threw || targetIsNew());
    AtomicFile::removeLeftovers(target());
    expectNothingButTheTarget();
  });
}

TEST_P(AtomicFileFaults, leaveAWholeFileWhenTheProcessDies) {
  const std::size_t points = forEachPoint(Fault::kill(), [&](const FaultOutcome& outcome) {
    EXPECT_EQ(outcome.wasKilled, outcome.wasHit());
    EXPECT_TRUE(targetIsOld() || targetIsNew());
    AtomicFile::removeLeftovers(target());
    expectNothingButTheTarget();
  });
  EXPECT_GE(points, GetParam().durability == Durability::survivesPowerLoss ? 7U : 5U);
}

TEST_P(AtomicFileFaults, areNoneForSignals) {
  forEachPoint(Fault::failing(EINTR), [&](const FaultOutcome& outcome) {
    EXPECT_TRUE(outcome.threw ? targetIsOld() : targetIsNew());
    EXPECT_TRUE(!outcome.threw || outcome.call.starts_with("rename"))
        << outcome.call << ": " << outcome.message;
    AtomicFile::removeLeftovers(target());
    expectNothingButTheTarget();
  });
}

TEST_P(AtomicFileFaults, areNoneWhenTheSystemTakesFewerBytes) {
  forEachPoint(Fault::shortWrite(), [&](const FaultOutcome& outcome) {
    EXPECT_FALSE(outcome.threw);
    EXPECT_TRUE(targetIsNew());
    expectNothingButTheTarget();
  });
}

TEST_P(AtomicFileFaults, areNoneWhereTwoNamesCannotBeExchanged) {
  for (const int errorNumber : {EINVAL, ENOSYS}) {
    forEachPoint(Fault::failing(errorNumber), [&](const FaultOutcome& outcome) {
      if (outcome.call == "renameat2") {
        EXPECT_FALSE(outcome.threw);
      }
      EXPECT_TRUE(outcome.threw ? targetIsOld() : targetIsNew());
    });
  }
}

INSTANTIATE_TEST_SUITE_P(Situations, AtomicFileFaults,
                         testing::Values(Situation{true, Durability::survivesPowerLoss},
                                         Situation{false, Durability::survivesPowerLoss},
                                         Situation{true, Durability::survivesProcess},
                                         Situation{false, Durability::survivesProcess}),
                         [](const auto& situation) {
                           return std::string(situation.param.hasOldFile ? "replacing" : "creating") +
                                  (situation.param.durability == Durability::survivesPowerLoss
                                       ? "Durably"
                                       : "ForTheProcess");
                         });

TEST(DurableReplacement, writesThroughBeforeAndAfterTheExchange) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  EXPECT_EQ(mutatingCalls([&] {
              AtomicFile file(folder / "file", Durability::survivesPowerLoss);
              file.write(std::as_bytes(std::span("new")));
              file.commit();
            }),
            (Names{"open", "write", "fsync", "close", "renameat2", "fsync", "unlink", "close"}));
}

TEST(ReplacementForTheProcess, neverWaitsForTheDisk) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "old");
  EXPECT_EQ(mutatingCalls([&] {
              AtomicFile file(folder / "file", Durability::survivesProcess);
              file.write(std::as_bytes(std::span("new")));
              file.commit();
            }),
            (Names{"open", "write", "close", "rename", "close"}));
}

TEST(CreateDirectoriesFaults, leaveNoFolderThatWouldCountAsDurable) {
  const TemporaryFolder folder;
  const std::size_t points = forEachFaultPoint(
      Fault::failing(EIO), [&] { std::filesystem::remove_all((folder / "a").path()); },
      [&] { createDirectories(folder / "a/b/c", Durability::survivesPowerLoss); },
      [&](const FaultOutcome& outcome) {
        EXPECT_EQ(outcome.threw, outcome.wasHit());
        // After a failure the same call, made again, writes through all that is still missing.
        const std::size_t made =
            countMutatingCalls([&] { createDirectories(folder / "a/b/c", Durability::survivesPowerLoss); });
        EXPECT_EQ(made, outcome.wasHit() ? 6 - (outcome.point - 1) / 2 * 2 : 0);
      });
  EXPECT_EQ(points, 6U);
}

}  // namespace tolvander::tests
