#include "Platform/Linux/Settings/FileUserDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Doubles/MemoryUserDefaults.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/JSON/DecodingError.h"

namespace tolvander::tests {

using app::UserDefaults;
using app::UserDefaultsError;
using platform::linux_::FileUserDefaults;

namespace {

class MemoryAnswer {
 public:
  UserDefaults& defaults() { return defaults_; }

 private:
  MemoryUserDefaults defaults_;
};

class FileAnswer {
 public:
  UserDefaults& defaults() { return defaults_; }

 private:
  TemporaryFolder folder_;
  FileUserDefaults defaults_{folder_ / "defaults.json"};
};

// What every answer to the contract does.
template <typename Answer>
class UserDefaultsContract : public testing::Test {
 protected:
  UserDefaults& defaults() { return answer_.defaults(); }

 private:
  Answer answer_;
};

using Answers = testing::Types<MemoryAnswer, FileAnswer>;
TYPED_TEST_SUITE(UserDefaultsContract, Answers);

std::vector<std::byte> everyByte() {
  std::vector<std::byte> bytes;
  for (int value = 0; value < 256; ++value) {
    bytes.push_back(static_cast<std::byte>(value));
  }
  return bytes;
}

class FileUserDefaultsTest : public testing::Test {
 protected:
  FileURL file() const { return folder_ / "config/com.tolvander.app/defaults.json"; }

  // A store with this content reads as empty, refuses every change, and stays as it is.
  void expectUnreadable(const std::string& content) {
    SCOPED_TRACE(content);
    writeFile(file(), content);
    FileUserDefaults defaults(file());
    expectRefusal(defaults);
    EXPECT_EQ(readFile(file()), content);
  }

  void expectRefusal(FileUserDefaults& defaults) const {
    EXPECT_FALSE(defaults.boolean("flag"));
    EXPECT_FALSE(defaults.string("text"));
    ASSERT_TRUE(defaults.failure());
    EXPECT_EQ(defaults.failure()->store(), file());
    for (int attempt = 0; attempt < 2; ++attempt) {
      EXPECT_THROW(defaults.setBoolean("flag", true), UserDefaultsError);
      EXPECT_THROW(defaults.setString("text", "new"), UserDefaultsError);
      EXPECT_THROW(defaults.setData("data", bytesOf("new")), UserDefaultsError);
      EXPECT_THROW(defaults.remove("flag"), UserDefaultsError);
    }
    EXPECT_FALSE(defaults.boolean("flag"));
  }

  TemporaryFolder folder_;
};

}  // namespace

TYPED_TEST(UserDefaultsContract, hasNothingAtFirst) {
  UserDefaults& defaults = this->defaults();
  EXPECT_FALSE(defaults.boolean("key"));
  EXPECT_FALSE(defaults.string("key"));
  EXPECT_FALSE(defaults.data("key"));
  EXPECT_NO_THROW(defaults.remove("key"));
}

TYPED_TEST(UserDefaultsContract, givesBackWhatWasSetUnderItsOwnTypeOnly) {
  UserDefaults& defaults = this->defaults();
  defaults.setBoolean("flag", false);
  defaults.setString("text", "Charmera “trips”");
  defaults.setData("data", everyByte());
  EXPECT_EQ(defaults.boolean("flag"), false);
  EXPECT_EQ(defaults.string("text"), "Charmera “trips”");
  EXPECT_EQ(defaults.data("data"), everyByte());
  EXPECT_FALSE(defaults.string("flag"));
  EXPECT_FALSE(defaults.data("text"));
  EXPECT_FALSE(defaults.boolean("data"));
}

TYPED_TEST(UserDefaultsContract, replacesAValueByOneOfAnotherType) {
  UserDefaults& defaults = this->defaults();
  defaults.setBoolean("key", true);
  defaults.setString("key", "");
  EXPECT_FALSE(defaults.boolean("key"));
  EXPECT_EQ(defaults.string("key"), "");
  defaults.setData("key", {});
  EXPECT_FALSE(defaults.string("key"));
  EXPECT_EQ(defaults.data("key"), UserDefaults::Data());
}

TYPED_TEST(UserDefaultsContract, removesOneKey) {
  UserDefaults& defaults = this->defaults();
  defaults.setBoolean("a", true);
  defaults.setBoolean("b", true);
  defaults.remove("a");
  EXPECT_FALSE(defaults.boolean("a"));
  EXPECT_EQ(defaults.boolean("b"), true);
}

TEST_F(FileUserDefaultsTest, liesInTheConfigurationOfTheHome) {
  EXPECT_EQ(FileUserDefaults::standardFile(StandardDirectories::below(FileURL("/home/ada"))),
            FileURL("/home/ada/config/com.tolvander.app/defaults.json"));
  EXPECT_FALSE(
      FileUserDefaults::standardFile({.applicationSupport = std::nullopt, .temporary = FileURL("/tmp")}));
}

TEST_F(FileUserDefaultsTest, makesNothingUntilSomethingIsSet) {
  FileUserDefaults defaults(file());
  defaults.remove("flag");
  EXPECT_FALSE(defaults.failure());
  EXPECT_FALSE(std::filesystem::exists(file().deletingLastPathComponent().path()));
}

TEST_F(FileUserDefaultsTest, writesTypedJSON) {
  FileUserDefaults defaults(file());
  defaults.setString("text", "a \"b\"");
  defaults.setBoolean("flag", true);
  defaults.setData("data", bytesOf("{}"));
  EXPECT_EQ(readFile(file()),
            "{\n  \"version\" : 1,\n  \"values\" : {\n    \"data\" : {\n      \"base64\" : \"e30=\"\n    },\n"
            "    \"flag\" : true,\n    \"text\" : \"a \\\"b\\\"\"\n  }\n}\n");
}

TEST_F(FileUserDefaultsTest, keepsEverythingForTheNextRun) {
  {
    FileUserDefaults defaults(file());
    defaults.setBoolean("flag", true);
    defaults.setString("text", "é\n\t\"");
    defaults.setData("data", everyByte());
    defaults.setBoolean("gone", true);
    defaults.remove("gone");
  }
  const FileUserDefaults defaults(file());
  EXPECT_FALSE(defaults.failure());
  EXPECT_EQ(defaults.boolean("flag"), true);
  EXPECT_EQ(defaults.string("text"), "é\n\t\"");
  EXPECT_EQ(defaults.data("data"), everyByte());
  EXPECT_FALSE(defaults.boolean("gone"));
}

TEST_F(FileUserDefaultsTest, writesNothingForTheValueThatIsThere) {
  FileUserDefaults defaults(file());
  defaults.setString("text", "a");
  const auto fileNumber = [this] {
    struct stat status {};
    EXPECT_EQ(stat(file().path().c_str(), &status), 0);
    return status.st_ino;
  };
  const auto before = fileNumber();
  defaults.setString("text", "a");
  defaults.remove("nothing");
  EXPECT_EQ(fileNumber(), before);
  defaults.setString("text", "b");
  EXPECT_NE(fileNumber(), before);
}

TEST_F(FileUserDefaultsTest, refusesAStoreThatCannotBeUnderstood) {
  const std::string good = R"({"version":1,"values":{"flag":true,"text":"kept","data":{"base64":"e30="}}})";
  for (std::size_t length = 0; length < good.size(); ++length) {
    expectUnreadable(good.substr(0, length));
  }
  const char* const others[] = {"not JSON at all",
                                "{}",
                                "[]",
                                "null",
                                R"({"values":{"flag":true}})",
                                R"({"version":0,"values":{"flag":true}})",
                                R"({"version":2,"values":{"flag":true}})",
                                R"({"version":"1","values":{"flag":true}})",
                                R"({"version":1,"values":[]})",
                                R"({"version":1,"values":{"flag":true},"more":1})",
                                R"({"version":1,"version":1,"values":{"flag":true}})",
                                R"({"version":1,"values":{"flag":true,"flag":true}})",
                                R"({"version":1,"values":{"flag":true,"n":1}})",
                                R"({"version":1,"values":{"flag":true,"n":null}})",
                                R"({"version":1,"values":{"flag":true,"n":[]}})",
                                R"({"version":1,"values":{"flag":true,"n":{}}})",
                                R"({"version":1,"values":{"flag":true,"n":{"date":"e30="}}})",
                                R"({"version":1,"values":{"flag":true,"n":{"base64":"e30=","more":1}}})",
                                R"({"version":1,"values":{"flag":true,"n":{"base64":"e30"}}})",
                                R"({"version":1,"values":{"flag":true,"n":{"base64":5}}})",
                                "{\"version\":1,\"values\":{\"text\":\"\xFF\"}}"};
  for (const char* const content : others) {
    expectUnreadable(content);
  }
  expectUnreadable(good + "x");
  expectUnreadable("\xEF\xBB\xBF" + good);
}

TEST_F(FileUserDefaultsTest, refusesAStoreLargerThanAnyOfOurs) {
  expectUnreadable(R"({"version":1,"values":{}})" + std::string(16 * 1024 * 1024, ' '));
}

TEST_F(FileUserDefaultsTest, refusesWhatIsNoFile) {
  std::filesystem::create_directories(file().path());
  FileUserDefaults folderInItsPlace(file());
  expectRefusal(folderInItsPlace);
  EXPECT_TRUE(std::filesystem::is_directory(file().path()));
  std::filesystem::remove(file().path());

  ASSERT_EQ(mkfifo(file().path().c_str(), 0600), 0);
  FileUserDefaults pipeInItsPlace(file());
  expectRefusal(pipeInItsPlace);
  EXPECT_TRUE(std::filesystem::is_fifo(file().path()));
}

TEST_F(FileUserDefaultsTest, refusesAStoreThatItMayNotRead) {
  const std::string content = R"({"version":1,"values":{"text":"kept"}})";
  writeFile(file(), content);
  ASSERT_EQ(chmod(file().path().c_str(), 0), 0);
  {
    const OtherUser user;
    FileUserDefaults defaults(file());
    expectRefusal(defaults);
  }
  ASSERT_EQ(chmod(file().path().c_str(), 0600), 0);
  EXPECT_EQ(readFile(file()), content);
}

TEST_F(FileUserDefaultsTest, saysWhatToDoAboutAnUnreadableStore) {
  writeFile(file(), "x");
  FileUserDefaults defaults(file());
  ASSERT_TRUE(defaults.failure());
  EXPECT_EQ(defaults.failure()->description(),
            "Settings could not be read, and nothing was changed. To start with new settings, move “" +
                file().path() + "” to another place.");
}

TEST_F(FileUserDefaultsTest, keepsALinkAndThePermissionsOfTheFile) {
  writeFile(folder_ / "dotfiles/defaults.json", R"({"version":1,"values":{"text":"kept"}})");
  ASSERT_EQ(chmod((folder_ / "dotfiles/defaults.json").path().c_str(), 0600), 0);
  std::filesystem::create_directories(file().deletingLastPathComponent().path());
  std::filesystem::create_symlink((folder_ / "dotfiles/defaults.json").path(), file().path());
  FileUserDefaults(file()).setBoolean("flag", true);
  EXPECT_TRUE(std::filesystem::is_symlink(file().path()));
  EXPECT_EQ(FileUserDefaults(folder_ / "dotfiles/defaults.json").string("text"), "kept");
  EXPECT_EQ(FileUserDefaults(folder_ / "dotfiles/defaults.json").boolean("flag"), true);
  struct stat status {};
  ASSERT_EQ(stat(file().path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(FileUserDefaultsTest, keepsTheOldValueWhenAChangeCannotBeWritten) {
  writeFile(folder_ / "config", "a file where the folder belongs");
  FileUserDefaults defaults(file());
  EXPECT_THROW(defaults.setBoolean("flag", true), Error);
  EXPECT_FALSE(defaults.boolean("flag"));
}

TEST_F(FileUserDefaultsTest, sweepsWhatAKilledRunLeft) {
  FileUserDefaults(file()).setBoolean("flag", true);
  const FileURL leftover =
      file().deletingLastPathComponent().appending(".defaults.json.11111111-2222-4333-8444-555555555555.tmp");
  writeFile(leftover, "half");
  const FileUserDefaults defaults(file());
  EXPECT_FALSE(std::filesystem::exists(leftover.path()));
  EXPECT_EQ(defaults.boolean("flag"), true);
}

}  // namespace tolvander::tests
