#include "TolvanderCore/Platform/StandardDirectories.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Tests/Support/ChildProcess.h"

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

}  // namespace

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
            (StandardDirectories{FileURL("/elsewhere/data"), FileURL("/elsewhere/tmp")}));
}

}  // namespace tolvander::tests
