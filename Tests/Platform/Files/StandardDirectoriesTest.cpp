#include "TolvanderCore/Platform/StandardDirectories.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

namespace {

// The variables that say where the user's places are; nullptr for one that is unset.
struct Environment {
  const char* home = nullptr;
  const char* data = nullptr;
  const char* temporary = nullptr;
  const char* configuration = nullptr;
  const char* state = nullptr;

  void set() const {
    const auto set = [](const char* name, const char* value) {
      return value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    };
    set("HOME", home);
    set("XDG_DATA_HOME", data);
    set("TMPDIR", temporary);
    set("XDG_CONFIG_HOME", configuration);
    set("XDG_STATE_HOME", state);
  }
};

std::string pathOf(const std::optional<FileURL>& place) { return place ? place->path() : "none"; }

void expectPlaces(const Environment& environment, const StandardDirectories& expected) {
  inChildProcess([&] {
    environment.set();
    const StandardDirectories places = StandardDirectories::current();
    EXPECT_EQ(pathOf(places.applicationSupport), pathOf(expected.applicationSupport));
    EXPECT_EQ(pathOf(places.temporary), pathOf(expected.temporary));
    EXPECT_EQ(pathOf(places.configuration), pathOf(expected.configuration));
    EXPECT_EQ(pathOf(places.logs), pathOf(expected.logs));
  });
}

// Where the places of a home lie when nothing else is chosen.
StandardDirectories placesOf(const FileURL& home) {
  return {.applicationSupport = home.appending(".local/share"),
          .temporary = FileURL("/tmp"),
          .configuration = home.appending(".config"),
          .logs = home.appending(".local/state")};
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
  expectPlaces({"/home/ada", "/data/ada", "/scratch", "/settings/ada", "/state/ada"},
               {.applicationSupport = FileURL("/data/ada"),
                .temporary = FileURL("/scratch"),
                .configuration = FileURL("/settings/ada"),
                .logs = FileURL("/state/ada")});
}

TEST(StandardDirectories, liesBelowTheHomeWhenNothingIsChosen) {
  expectPlaces({.home = "/home/ada"}, placesOf(FileURL("/home/ada")));
}

TEST(StandardDirectories, ignoresRelativeAndEmptyChoices) {
  expectPlaces({"/home/ada", "data", "tmp", "settings", "state"}, placesOf(FileURL("/home/ada")));
  expectPlaces({"/home/ada", "", "", "", ""}, placesOf(FileURL("/home/ada")));
}

TEST(StandardDirectories, dropsTrailingSlashes) {
  expectPlaces({"/home/ada/", "/data/ada//", "/scratch/", "/settings/", "/state//"},
               {.applicationSupport = FileURL("/data/ada"),
                .temporary = FileURL("/scratch"),
                .configuration = FileURL("/settings"),
                .logs = FileURL("/state")});
}

TEST(StandardDirectories, asksTheUserDatabaseWhenTheEnvironmentHasNoHome) {
  const passwd* user = getpwuid(getuid());
  if (user == nullptr || user->pw_dir == nullptr || *user->pw_dir != '/') {
    GTEST_SKIP() << "the user of this test has no home in the user database";
  }
  expectPlaces({}, placesOf(FileURL(user->pw_dir).standardized()));
}

TEST(StandardDirectories, hasNoPlacesForAUserWithoutHome) {
  if (getuid() != 0) {
    GTEST_SKIP() << "becoming an unknown user needs root";
  }
  constexpr uid_t unknownUser = 3'999'999;
  inChildProcess([&] {
    ASSERT_EQ(getpwuid(unknownUser), nullptr);
    ASSERT_EQ(setresuid(unknownUser, unknownUser, unknownUser), 0);
    Environment().set();
    const StandardDirectories places = StandardDirectories::current();
    EXPECT_FALSE(places.applicationSupport);
    EXPECT_FALSE(places.configuration);
    EXPECT_FALSE(places.logs);
  });
}

TEST(StandardDirectories, keepsEverythingBelowAChosenHome) {
  const StandardDirectories expected{.applicationSupport = FileURL("/elsewhere/data"),
                                     .temporary = FileURL("/elsewhere/tmp"),
                                     .configuration = FileURL("/elsewhere/config"),
                                     .logs = FileURL("/elsewhere/logs"),
                                     .pictures = FileURL("/elsewhere/pictures")};
  EXPECT_EQ(StandardDirectories::below(FileURL("/elsewhere")), expected);
}

}  // namespace tolvander::tests
