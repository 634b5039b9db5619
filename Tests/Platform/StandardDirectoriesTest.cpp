#include "TolvanderCore/Platform/StandardDirectories.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/TemporaryFolder.h"

namespace tolvander::tests {

namespace {

// What the user's places are in an environment of these three variables alone; nullptr for one that is unset.
void expectPlaces(const char* home, const char* dataHome, const char* temporary,
                  const StandardDirectories& expected) {
  inChildProcess([&] {
    const auto set = [](const char* name, const char* value) {
      return value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    };
    set("HOME", home);
    set("XDG_DATA_HOME", dataHome);
    set("TMPDIR", temporary);
    const StandardDirectories places = StandardDirectories::current();
    ASSERT_EQ(places.applicationSupport.has_value(), expected.applicationSupport.has_value());
    if (places.applicationSupport) {
      EXPECT_EQ(places.applicationSupport->path(), expected.applicationSupport->path());
    }
    EXPECT_EQ(places.temporary.path(), expected.temporary.path());
  });
}

// Where the user's pictures are, with this text in the user-dirs.dirs of a home and XDG_PICTURES_DIR in the
// environment unless it is nullptr.
std::string picturesBelowHome(const char* userDirectories, const char* variable = nullptr) {
  const TemporaryFolder home;
  if (userDirectories != nullptr) {
    writeFile(home / ".config/user-dirs.dirs", userDirectories);
  }
  inChildProcess([&] {
    setenv("HOME", home.url().path().c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("XDG_PICTURES_DIR");
    if (variable != nullptr) {
      setenv("XDG_PICTURES_DIR", variable, 1);
    }
    const auto pictures = StandardDirectories::current().pictures;
    writeFile(home / "answer", pictures ? pictures->path() : "none");
  });
  std::string answer = readFile(home / "answer");
  if (answer.starts_with(home.url().path())) {
    answer.replace(0, home.url().path().size(), "~");
  }
  return answer;
}

}  // namespace

TEST(StandardDirectories, hasPicturesInTheHomeWhenNothingIsChosen) {
  EXPECT_EQ(picturesBelowHome(nullptr), "~/Pictures");
  EXPECT_EQ(picturesBelowHome("# XDG_PICTURES_DIR=\"$HOME/Bilder\"\n"), "~/Pictures");
  EXPECT_EQ(picturesBelowHome("XDG_PICTURES_DIR=\"Bilder\"\nXDG_PICTURES_DIR=/unquoted\n"), "~/Pictures");
}

TEST(StandardDirectories, hasPicturesWhereTheUserKeepsThem) {
  EXPECT_EQ(picturesBelowHome("XDG_MUSIC_DIR=\"$HOME/Musik\"\nXDG_PICTURES_DIR=\"$HOME/Bilder\"\n"),
            "~/Bilder");
  EXPECT_EQ(picturesBelowHome("  XDG_PICTURES_DIR=\"/disk/My \\\"best\\\" \\$1/\" # there"),
            "/disk/My \"best\" $1");
  EXPECT_EQ(picturesBelowHome("XDG_PICTURES_DIR=\"$HOME/\""), "~");
  EXPECT_EQ(picturesBelowHome("XDG_PICTURES_DIR=\"/first\"\nXDG_PICTURES_DIR=\"/last\""), "/last");
}

TEST(StandardDirectories, hasPicturesWhereTheEnvironmentSays) {
  EXPECT_EQ(picturesBelowHome("XDG_PICTURES_DIR=\"/file\"", "/environment"), "/environment");
  EXPECT_EQ(picturesBelowHome("XDG_PICTURES_DIR=\"/file\"", "relative"), "/file");
}

TEST(StandardDirectories, followsTheUsersOwnChoice) {
  expectPlaces("/home/ada", "/data/ada", "/scratch", {FileURL("/data/ada"), FileURL("/scratch")});
}

TEST(StandardDirectories, liesBelowTheHomeWhenNothingIsChosen) {
  expectPlaces("/home/ada", nullptr, nullptr, {FileURL("/home/ada/.local/share"), FileURL("/tmp")});
}

TEST(StandardDirectories, ignoresRelativeAndEmptyChoices) {
  expectPlaces("/home/ada", "data", "tmp", {FileURL("/home/ada/.local/share"), FileURL("/tmp")});
  expectPlaces("/home/ada", "", "", {FileURL("/home/ada/.local/share"), FileURL("/tmp")});
}

TEST(StandardDirectories, dropsTrailingSlashes) {
  expectPlaces("/home/ada/", "/data/ada//", "/scratch/", {FileURL("/data/ada"), FileURL("/scratch")});
}

TEST(StandardDirectories, asksTheUserDatabaseWhenTheEnvironmentHasNoHome) {
  const passwd* user = getpwuid(getuid());
  if (user == nullptr || user->pw_dir == nullptr || *user->pw_dir != '/') {
    GTEST_SKIP() << "the user of this test has no home in the user database";
  }
  const FileURL home = FileURL(user->pw_dir).standardized();
  expectPlaces(nullptr, nullptr, nullptr, {home.appending(".local/share"), FileURL("/tmp")});
}

TEST(StandardDirectories, hasNoApplicationSupportForAUserWithoutHome) {
  if (getuid() != 0) {
    GTEST_SKIP() << "becoming an unknown user needs root";
  }
  constexpr uid_t unknownUser = 3'999'999;
  inChildProcess([&] {
    ASSERT_EQ(getpwuid(unknownUser), nullptr);
    ASSERT_EQ(setresuid(unknownUser, unknownUser, unknownUser), 0);
    unsetenv("HOME");
    unsetenv("XDG_DATA_HOME");
    EXPECT_FALSE(StandardDirectories::current().applicationSupport);
  });
}

TEST(StandardDirectories, keepsEverythingBelowAChosenHome) {
  const FileURL home("/elsewhere");
  EXPECT_EQ(StandardDirectories::below(home),
            (StandardDirectories{FileURL("/elsewhere/data"), FileURL("/elsewhere/tmp"),
                                 FileURL("/elsewhere/pictures")}));
}

}  // namespace tolvander::tests
