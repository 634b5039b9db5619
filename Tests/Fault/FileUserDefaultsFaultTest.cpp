#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Linux/Settings/FileUserDefaults.h"
#include "Samples/Bytes.h"
#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

using platform::linux_::FileUserDefaults;

namespace {

// One change of a store, at whose every step the system fails.
class FileUserDefaultsFaults : public testing::TestWithParam<bool> {
 protected:
  bool hasStore() const { return GetParam(); }
  FileURL file() const { return folder_ / "config/com.tolvander.app/defaults.json"; }

  void setUp() {
    std::filesystem::remove_all((folder_ / "config").path());
    if (hasStore()) {
      FileUserDefaults earlier(file());
      earlier.setString("album", "old");
      earlier.setData("grants", bytesOf("kept"));
    }
    defaults_ = std::make_unique<FileUserDefaults>(file());
  }

  void change() { defaults_->setString("album", "new"); }

  std::optional<std::string> albumBefore() const {
    return hasStore() ? std::optional<std::string>("old") : std::nullopt;
  }
  std::optional<std::string> albumInMemory() const { return defaults_->string("album"); }

  // What the next run finds.
  std::optional<std::string> albumOnDisk() const {
    const FileUserDefaults restarted(file());
    EXPECT_FALSE(restarted.failure());
    EXPECT_EQ(restarted.data("grants").has_value(), hasStore());
    return restarted.string("album");
  }

  void expectNothingButTheStore() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator((folder_ / "config").path())) {
      EXPECT_TRUE(entry.is_directory() || entry.path() == file().path()) << entry.path();
    }
  }

  std::size_t forEachPoint(const Fault& fault, const std::function<void(const FaultOutcome&)>& verify) {
    return forEachFaultPoint(
        fault, [this] { setUp(); }, [this] { change(); }, verify);
  }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<FileUserDefaults> defaults_;
};

}  // namespace

TEST_P(FileUserDefaultsFaults, leaveTheOldValueInMemoryAndOnDiskWhenAnErrorIsThrown) {
  for (const int errorNumber : {EIO, ENOSPC}) {
    const std::size_t points = forEachPoint(Fault::failing(errorNumber), [&](const FaultOutcome& outcome) {
      const auto expected = outcome.threw ? albumBefore() : "new";
      EXPECT_EQ(albumInMemory(), expected) << outcome.call;
      EXPECT_EQ(albumOnDisk(), expected) << outcome.call;
      change();
      EXPECT_EQ(albumInMemory(), "new");
      EXPECT_EQ(albumOnDisk(), "new");
      expectNothingButTheStore();
    });
    EXPECT_GE(points, 7U);
  }
}

TEST_P(FileUserDefaultsFaults, leaveAWholeStoreWhenTheDiskIsGone) {
  forEachPoint(Fault::failingFromThenOn(EIO), [&](const FaultOutcome& outcome) {
    const auto found = albumOnDisk();
    EXPECT_TRUE(found == albumBefore() || found == "new") << outcome.call;
    EXPECT_EQ(albumInMemory(), outcome.threw ? albumBefore() : "new");
  });
}

TEST_P(FileUserDefaultsFaults, leaveAWholeStoreWhenTheProcessDies) {
  const std::size_t points = forEachPoint(Fault::kill(), [&](const FaultOutcome& outcome) {
    EXPECT_EQ(outcome.wasKilled, outcome.wasHit());
    const auto found = albumOnDisk();
    EXPECT_TRUE(found == albumBefore() || found == "new") << outcome.call;
    if (!outcome.wasHit()) {
      EXPECT_EQ(found, "new");
    }
    FileUserDefaults restarted(file());
    restarted.setString("album", "newer");
    EXPECT_EQ(albumOnDisk(), "newer");
    expectNothingButTheStore();
  });
  EXPECT_GE(points, 7U);
}

TEST_P(FileUserDefaultsFaults, areNoneWhenTheSystemTakesFewerBytes) {
  forEachPoint(Fault::shortWrite(), [&](const FaultOutcome& outcome) {
    EXPECT_FALSE(outcome.threw);
    EXPECT_EQ(albumOnDisk(), "new");
  });
}

INSTANTIATE_TEST_SUITE_P(Situations, FileUserDefaultsFaults, testing::Bool(),
                         [](const auto& situation) { return situation.param ? "changing" : "creating"; });

}  // namespace tolvander::tests
