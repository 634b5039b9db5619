#include "TolvanderCore/Platform/StandardDirectories.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "Tests/Support/ChildProcess.h"

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

}  // namespace

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
                                     .logs = FileURL("/elsewhere/logs")};
  EXPECT_EQ(StandardDirectories::below(FileURL("/elsewhere")), expected);
}

}  // namespace tolvander::tests
