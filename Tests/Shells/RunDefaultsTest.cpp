#include "Shells/CommandLine/Session/RunDefaults.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "Tests/Support/Doubles/MemoryUserDefaults.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::shell {
namespace {

TEST(RunDefaults, putsTheValuesOfTheRunOnTopOfTheStoredOnes) {
  tests::MemoryUserDefaults stored;
  stored.setString("albumName", "Stored");
  stored.setBoolean("addToAlbum", false);
  stored.setString("other", "kept");
  const RunDefaults defaults(stored, {{"albumName", "Run"}, {"addToAlbum", true}});
  EXPECT_EQ(defaults.string("albumName"), "Run");
  EXPECT_EQ(defaults.boolean("addToAlbum"), true);
  EXPECT_EQ(defaults.string("other"), "kept");
  EXPECT_EQ(defaults.boolean("unknown"), std::nullopt);
  EXPECT_EQ(stored.string("albumName"), "Stored");
}

TEST(RunDefaults, givesNothingForAValueOfAnotherType) {
  tests::MemoryUserDefaults stored;
  stored.setString("key", "text");
  const RunDefaults defaults(stored, {{"key", true}});
  EXPECT_EQ(defaults.string("key"), std::nullopt);
  EXPECT_EQ(defaults.data("key"), std::nullopt);
}

TEST(RunDefaults, storesAChangeOfSuchAKeyAndTakesItFromThenOn) {
  tests::MemoryUserDefaults stored;
  RunDefaults defaults(stored, {{"a", true}, {"b", "run"}, {"c", true}, {"d", true}});
  defaults.setBoolean("a", false);
  defaults.setString("b", "changed");
  defaults.setData("c", tests::bytesOf("data"));
  defaults.remove("d");
  EXPECT_EQ(stored.boolean("a"), false);
  EXPECT_EQ(defaults.boolean("a"), false);
  EXPECT_EQ(stored.string("b"), "changed");
  EXPECT_EQ(defaults.string("b"), "changed");
  EXPECT_TRUE(defaults.data("c"));
  EXPECT_EQ(defaults.boolean("d"), std::nullopt);
}

TEST(RunDefaults, keepsTheValueOfTheRunWhenAChangeCannotBeStored) {
  tests::MemoryUserDefaults stored;
  RunDefaults defaults(stored, {{"a", true}});
  stored.setFull(true);
  EXPECT_THROW(defaults.setBoolean("a", false), PosixError);
  EXPECT_EQ(defaults.boolean("a"), true);
}

TEST(UnchangedDefaults, readsAndDropsChanges) {
  tests::MemoryUserDefaults stored;
  stored.setString("key", "value");
  UnchangedDefaults defaults(stored);
  defaults.setString("key", "other");
  defaults.setBoolean("new", true);
  defaults.setData("data", {});
  defaults.remove("key");
  EXPECT_EQ(defaults.string("key"), "value");
  EXPECT_FALSE(stored.contains("new"));
  EXPECT_FALSE(stored.contains("data"));
}

}  // namespace
}  // namespace tolvander::shell
