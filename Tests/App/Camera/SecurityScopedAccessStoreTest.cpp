#include "TolvanderApp/Camera/SecurityScopedAccessStore.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/Doubles/FakeBookmarks.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::app {
namespace {

using Bytes = std::vector<std::byte>;
using Renewed = std::vector<SecurityScopedAccessStore::RenewedBookmark>;
using Profiles = std::vector<DeviceProfile>;

class SecurityScopedAccess : public testing::Test {
 protected:
  SecurityScopedAccess() { std::filesystem::create_directory(card.path()); }

  static DeviceProfile profileWith(std::optional<Bytes> bookmark) {
    DeviceProfile profile = DeviceProfile::charmera();
    profile.id = UUID::random();
    profile.securityScopedBookmark = std::move(bookmark);
    return profile;
  }

  // How often access to the card is open.
  int openings() { return bookmarks.open[card]; }

  tests::TemporaryFolder folder;
  const FileURL card = folder / "CARD";
  tests::FakeBookmarks bookmarks;
  SecurityScopedAccessStore store{bookmarks};
};

TEST_F(SecurityScopedAccess, startsForEachProfileWithABookmark) {
  const DeviceProfile camera = profileWith(bookmarks.add("camera", {.url = card}));
  EXPECT_EQ(store.refresh({profileWith(std::nullopt), camera}), Renewed());
  ASSERT_EQ(store.entries().size(), 1U);
  EXPECT_EQ(store.entries().at(camera.id),
            (SecurityScopedAccessStore::Entry{card, *camera.securityScopedBookmark, true}));
  EXPECT_EQ(openings(), 1);
}

TEST_F(SecurityScopedAccess, resolvesWithoutAskingOrMounting) {
  store.refresh({profileWith(bookmarks.add("plain", {.url = card, .hasSecurityScope = false}))});
  EXPECT_EQ(bookmarks.resolutions,
            (std::vector<BookmarkResolutionOptions>{
                {.withSecurityScope = true, .withoutUI = true, .withoutMounting = true},
                {.withSecurityScope = false, .withoutUI = true, .withoutMounting = true}}));
}

TEST_F(SecurityScopedAccess, isNotStartedTwice) {
  const Profiles profiles{profileWith(bookmarks.add("camera", {.url = card}))};
  store.refresh(profiles);
  store.refresh(profiles);
  EXPECT_EQ(bookmarks.resolutions.size(), 1U);
  EXPECT_EQ(openings(), 1);
}

TEST_F(SecurityScopedAccess, isUsableWithoutAScopeAndThenNeverStopped) {
  const DeviceProfile camera = profileWith(bookmarks.add("plain", {.url = card, .hasSecurityScope = false}));
  store.refresh({camera});
  EXPECT_FALSE(store.entries().at(camera.id).didStartAccessing);
  EXPECT_EQ(store.authorizedProfiles(card, {camera}), Profiles{camera});
  store.refresh({});
  EXPECT_EQ(openings(), 0);
}

TEST_F(SecurityScopedAccess, thatIsRefusedIsNeverStopped) {
  bookmarks.refusesAccess = true;
  const DeviceProfile camera = profileWith(bookmarks.add("camera", {.url = card}));
  store.refresh({camera});
  EXPECT_FALSE(store.entries().at(camera.id).didStartAccessing);
  store.stopAll();
  EXPECT_EQ(openings(), 0);
}

TEST_F(SecurityScopedAccess, comesLaterForABookmarkThatCannotBeResolvedYet) {
  const DeviceProfile camera = profileWith(bookmarks.add("camera", {.url = card}));
  const auto known = std::exchange(bookmarks.known, {});
  EXPECT_EQ(store.refresh({camera}), Renewed());
  EXPECT_TRUE(store.entries().empty());
  bookmarks.known = known;
  store.refresh({camera});
  EXPECT_EQ(store.entries().size(), 1U);
}

TEST_F(SecurityScopedAccess, endsWithItsProfile) {
  const DeviceProfile camera = profileWith(bookmarks.add("camera", {.url = card}));
  const DeviceProfile other = profileWith(bookmarks.add("other", {.url = folder.url()}));
  store.refresh({camera, other});
  store.refresh({other});
  EXPECT_EQ(openings(), 0);
  EXPECT_EQ(bookmarks.open[folder.url()], 1);
  DeviceProfile forgotten = other;
  forgotten.securityScopedBookmark = std::nullopt;
  store.refresh({forgotten});
  EXPECT_EQ(bookmarks.open[folder.url()], 0);
  EXPECT_TRUE(store.entries().empty());
}

TEST_F(SecurityScopedAccess, isResolvedAfreshWhenAnUnpluggedCameraComesBackElsewhere) {
  const DeviceProfile camera = profileWith(bookmarks.add("camera", {.url = card}));
  store.refresh({camera});
  std::filesystem::remove(card.path());
  bookmarks.known.clear();
  store.refresh({camera});
  EXPECT_TRUE(store.entries().empty());
  EXPECT_EQ(openings(), 0);
  bookmarks.add("camera", {.url = folder.url()});
  store.refresh({camera});
  EXPECT_EQ(store.entries().at(camera.id).url, folder.url());
}

TEST_F(SecurityScopedAccess, isMadeAnewFromAnotherBookmark) {
  DeviceProfile camera = profileWith(bookmarks.add("one", {.url = card}));
  store.refresh({camera});
  camera.securityScopedBookmark = bookmarks.add("another", {.url = card});
  EXPECT_EQ(store.authorizedProfiles(card, {camera}), Profiles()) << "an equal place isn't enough";
  store.refresh({camera});
  EXPECT_EQ(store.authorizedProfiles(card, {camera}), Profiles{camera});
  EXPECT_EQ(openings(), 1);
}

TEST_F(SecurityScopedAccess, goesOnWhenAStaleBookmarkIsRenewed) {
  DeviceProfile camera = profileWith(bookmarks.add("old", {.url = card, .isStale = true}));
  const Renewed renewed = store.refresh({camera});
  ASSERT_EQ(renewed.size(), 1U);
  EXPECT_EQ(renewed[0].profileID, camera.id);
  EXPECT_EQ(renewed[0].bookmark, bookmarks.bookmarkData(card, {.withSecurityScope = true}));
  camera.securityScopedBookmark = renewed[0].bookmark;
  EXPECT_EQ(store.authorizedProfiles(card, {camera}), Profiles{camera});
  EXPECT_EQ(store.refresh({camera}), Renewed());
  EXPECT_EQ(store.authorizedProfiles(card, {camera}), Profiles{camera});
  EXPECT_EQ(openings(), 1);
}

TEST_F(SecurityScopedAccess, renewsWithoutAScopeWhereNoneCanBeHad) {
  bookmarks.failsToMakeScoped = true;
  const DeviceProfile camera = profileWith(bookmarks.add("old", {.url = card, .isStale = true}));
  const Renewed renewed = store.refresh({camera});
  ASSERT_EQ(renewed.size(), 1U);
  EXPECT_EQ(renewed[0].bookmark, bookmarks.bookmarkData(card, {}));
}

TEST_F(SecurityScopedAccess, keepsAStaleBookmarkThatCannotBeRenewed) {
  bookmarks.failsToMakeScoped = true;
  bookmarks.failsToMakePlain = true;
  const DeviceProfile camera = profileWith(bookmarks.add("old", {.url = card, .isStale = true}));
  EXPECT_EQ(store.refresh({camera}), Renewed());
  EXPECT_EQ(store.authorizedProfiles(card, {camera}), Profiles{camera});
}

TEST_F(SecurityScopedAccess, renewsInTheOrderOfTheProfiles) {
  const DeviceProfile first = profileWith(bookmarks.add("1", {.url = card, .isStale = true}));
  const DeviceProfile second = profileWith(bookmarks.add("2", {.url = folder.url(), .isStale = true}));
  for (const Profiles& profiles : {Profiles{first, second}, Profiles{second, first}}) {
    store.stopAll();
    const Renewed renewed = store.refresh(profiles);
    ASSERT_EQ(renewed.size(), 2U);
    EXPECT_EQ(renewed[0].profileID, profiles[0].id);
    EXPECT_EQ(renewed[1].profileID, profiles[1].id);
  }
}

TEST_F(SecurityScopedAccess, authorizesTheProfilesOfOneVolumeInOrder) {
  const DeviceProfile one = profileWith(bookmarks.add("1", {.url = card}));
  const DeviceProfile elsewhere = profileWith(bookmarks.add("2", {.url = folder.url()}));
  const DeviceProfile other = profileWith(bookmarks.add("3", {.url = card}));
  const Profiles profiles{other, elsewhere, profileWith(std::nullopt), one};
  store.refresh(profiles);
  EXPECT_EQ(store.authorizedProfiles(FileURL(card.path() + "/./"), profiles), (Profiles{other, one}));
  EXPECT_EQ(store.authorizedProfiles(card.appending("DCIM"), profiles), Profiles());
}

TEST_F(SecurityScopedAccess, allEndsTogether) {
  store.refresh(
      {profileWith(bookmarks.add("1", {.url = card})), profileWith(bookmarks.add("2", {.url = card}))});
  EXPECT_EQ(openings(), 2);
  store.stopAll();
  EXPECT_EQ(openings(), 0);
  EXPECT_TRUE(store.entries().empty());
  store.stopAll();
  EXPECT_EQ(openings(), 0);
}

TEST_F(SecurityScopedAccess, endsWithTheStore) {
  {
    SecurityScopedAccessStore shortLived(bookmarks);
    shortLived.refresh({profileWith(bookmarks.add("camera", {.url = card}))});
    EXPECT_EQ(openings(), 1);
  }
  EXPECT_EQ(openings(), 0);
}

}  // namespace
}  // namespace tolvander::app
