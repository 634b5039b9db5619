#include <algorithm>

#include "Tests/App/Model/AppModelFlowTest.h"

namespace tolvander::tests {
namespace {

constexpr std::size_t addItems = 0;
constexpr std::size_t notNow = 1;
constexpr const char* needsAttention = "Album update needs attention";

class AppModelAlbumTest : public AppModelFlowTest {
 protected:
  // Pictures that are in the library and the history.
  void launchWithSyncedPictures(int pictures) {
    plugInCharmera(pictures);
    launch();
    if (pictures > 0) {
      sync();
    }
    world.takeStatuses();
  }
  void link(const std::string& name) {
    run([&] { model().selectAlbum(name); });
  }
  void create(std::optional<std::string> name) {
    world.dialogs.texts = {std::move(name)};
    run([&] { model().presentCreateAlbum(); });
  }
  void addAlbums(const Texts& names) {
    for (const auto& name : names) {
      world.photoLibrary.addAlbum(name);
    }
    world.run(model().refreshAlbumNames());
  }
  Texts assets() {
    Texts identifiers;
    for (const auto& asset : world.photoLibrary.fetchAssets(app::PhotosFetchOptions())) {
      identifiers.push_back(asset.localIdentifier);
    }
    return identifiers;
  }
  std::size_t memberCount(const std::string& album) {
    const auto albums = world.photoLibrary.fetchAlbums(std::optional(album));
    return albums.empty() ? 0 : world.photoLibrary.members(albums.front().localIdentifier).size();
  }
  bool exists(const std::string& album) {
    return !world.photoLibrary.fetchAlbums(std::optional(album)).empty();
  }

  const app::Alert backfillOf(const std::string& album) const {
    return {.style = app::Alert::Style::informational,
            .message = "Add previously synced items to " + album + "?",
            .informativeText = "Adds existing Photos items without importing duplicates.",
            .buttons = {"Add Items", "Not Now"}};
  }
};

}  // namespace

// Another album

TEST_F(AppModelAlbumTest, linksAnAlbumAndAsksWhetherToFillIt) {
  launchWithSyncedPictures(1);
  world.settings().setAddToAlbum(true);
  world.dialogs.answers = {notNow};
  link(" Summer\n");
  EXPECT_EQ(world.settings().albumName(), "Summer");
  EXPECT_EQ(world.defaults.string("albumName"), "Summer");
  EXPECT_EQ(world.dialogs.alerts, (std::vector{backfillOf("Summer")}));
  EXPECT_EQ(world.dialogs.alerts.at(0).message, "Add previously synced items to Summer?");
  EXPECT_EQ(world.takeStatuses(), (Texts{"Linking album…", "Album linked"}));
  EXPECT_TRUE(model().statusReceipt->has_value());
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, std::chrono::seconds(120));
  EXPECT_FALSE(model().isUpdatingAlbum);
  EXPECT_FALSE(exists("Summer"));
  expectNoFailure("Album linked");
}

TEST_F(AppModelAlbumTest, fillsTheNewAlbumWithAllThatIsRecorded) {
  launchWithSyncedPictures(2);
  world.settings().setAddToAlbum(true);
  world.dialogs.answers = {addItems};
  link("Summer");
  EXPECT_EQ(memberCount("Summer"), 2U);
  EXPECT_EQ(world.takeStatuses(), (Texts{"Linking album…", "Updating album…", "2 items added to album"}));
  EXPECT_EQ(world.logLines("albumUpdated"), (Texts{R"({"event":"albumUpdated","metrics":{"added":2}})"}));
  EXPECT_EQ(model().availableAlbumNames.value(), (Texts{"Summer"}));
  expectNoFailure("2 items added to album");
}

TEST_F(AppModelAlbumTest, carriesOverWhatTheOldAlbumHeldAndNoMore) {
  launchWithSyncedPictures(2);
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName("Spring");
  const auto foreign = world.photoLibrary.addAsset({});
  world.photoLibrary.addAlbum("Spring", {assets().front(), foreign.localIdentifier});
  const bool frontIsOurs = assets().front() != foreign.localIdentifier;
  world.dialogs.answers = {addItems};
  link("Summer");
  EXPECT_EQ(memberCount("Summer"), frontIsOurs ? 1U : 0U);
  EXPECT_TRUE(frontIsOurs);
  EXPECT_EQ(model().statusMessage.value(), "1 item added to album");
}

TEST_F(AppModelAlbumTest, withoutTheSettingOnlyTheNameIsKept) {
  launchWithSyncedPictures(1);
  link("Summer");
  EXPECT_EQ(world.settings().albumName(), "Summer");
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(world.takeStatuses().empty());
}

TEST_F(AppModelAlbumTest, selectAlbumWithANameOfSpacesDoesNothing) {
  launchWithSyncedPictures(1);
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName("Spring");
  link(" \n\t ");
  link(" Spring ");
  EXPECT_EQ(world.settings().albumName(), "Spring");
  EXPECT_TRUE(world.dialogs.alerts.empty());
}

TEST_F(AppModelAlbumTest, nameThatCannotBeStoredLinksNothing) {
  launchWithSyncedPictures(1);
  world.settings().setAddToAlbum(true);
  world.defaults.setFull(true);
  link("Summer");
  EXPECT_EQ(world.settings().albumName(), "");
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(model().statusMessage.value(), "Sync needs attention");
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelAlbumTest, stopDuringTheQuestionShowsAlbumUpdateStopped) {
  launchWithSyncedPictures(1);
  world.settings().setAddToAlbum(true);
  world.dialogs.answers = {addItems};
  world.dialogs.whileOpen = [&] { model().stopCheck(); };
  link("Summer");
  expectNoFailure("Album update stopped");
  EXPECT_FALSE(model().isUpdatingAlbum);
  EXPECT_FALSE(exists("Summer"));
  EXPECT_EQ(world.settings().albumName(), "Summer") << "the link stands";
}

TEST_F(AppModelAlbumTest, failureLeavesTheLinkAndIsShown) {
  launchWithSyncedPictures(1);
  world.settings().setAddToAlbum(true);
  world.photoLibrary.refuseAlbumCreation();
  world.dialogs.answers = {addItems};
  link("Summer");
  expectFailure("The selected Photos album could not be created.", needsAttention);
  EXPECT_EQ(world.settings().albumName(), "Summer");
  EXPECT_FALSE(model().isUpdatingAlbum);
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelAlbumTest, doesNothingWhileAnotherFlowRunsOrBeforeSetup) {
  launchWithSyncedPictures(1);
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName("Spring");
  whenIn(SyncPhase::Kind::recognizing, [&] {
    model().selectAlbum("Summer");
    model().presentCreateAlbum();
    model().addRecordedAssets(std::nullopt, "Summer");
  });
  sync();
  world.settings().setOnboardingCompleted(false);
  link("Summer");
  create("Summer");
  run([&] { model().addRecordedAssets(std::nullopt, "Summer"); });
  EXPECT_EQ(world.settings().albumName(), "Spring");
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(world.dialogs.prompts.empty());
  EXPECT_FALSE(exists("Summer"));
}

// Filling

TEST_F(AppModelAlbumTest, addsWhatIsRecordedAndSaysWhenNothingWasToAdd) {
  launchWithSyncedPictures(1);
  run([&] { model().addRecordedAssets(std::nullopt, "Summer"); });
  EXPECT_EQ(world.takeStatuses(), (Texts{"Updating album…", "1 item added to album"}));
  run([&] { model().addRecordedAssets(std::nullopt, "Summer"); });
  expectNoFailure("Album up to date");
}

TEST_F(AppModelAlbumTest, stoppedFillIsNotStarted) {
  launchWithSyncedPictures(1);
  run([&] {
    model().addRecordedAssets(std::nullopt, "Summer");
    model().stopCheck();
  });
  expectNoFailure("Album update stopped");
  EXPECT_FALSE(exists("Summer"));
  EXPECT_FALSE(model().isUpdatingAlbum);
}

// A new album

TEST_F(AppModelAlbumTest, suggestsANameThatIsFree) {
  launchWithSyncedPictures(0);
  EXPECT_EQ(model().suggestedAlbumName(), "Charmera");
  addAlbums({"charmera"});
  EXPECT_EQ(model().suggestedAlbumName(), "Charmera 2");
}

TEST_F(AppModelAlbumTest, charmeraAndCharmera2ExistingGivesCharmera3) {
  launchWithSyncedPictures(0);
  addAlbums({"Charmera", "charmera 2"});
  EXPECT_EQ(model().suggestedAlbumName(), "Charmera 3");
}

TEST_F(AppModelAlbumTest, asksForAName) {
  launchWithSyncedPictures(0);
  addAlbums({"Charmera"});
  world.takeStatuses();
  create(std::nullopt);
  EXPECT_EQ(world.dialogs.prompts,
            (std::vector{app::TextPrompt{.alert = {.style = app::Alert::Style::informational,
                                                   .message = "Create a Photos album",
                                                   .informativeText = "Enter a name for the new album.",
                                                   .buttons = {"Create Album", "Cancel"}},
                                         .placeholder = "Album name",
                                         .text = "Charmera 2"}}));
  EXPECT_EQ(world.takeStatuses(), (Texts{"Creating album…", "Ready to import"}));
  EXPECT_EQ(world.settings().albumName(), "");
  EXPECT_FALSE(model().isUpdatingAlbum);
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelAlbumTest, createsAndLinksAnAlbum) {
  launchWithSyncedPictures(1);
  world.dialogs.answers = {notNow};
  create("  Summer ");
  EXPECT_TRUE(exists("Summer"));
  EXPECT_EQ(world.settings().albumName(), "Summer");
  EXPECT_EQ(world.defaults.string("albumName"), "Summer");
  EXPECT_TRUE(world.settings().addToAlbum());
  EXPECT_EQ(world.dialogs.alerts, (std::vector{backfillOf("Summer")}));
  EXPECT_EQ(memberCount("Summer"), 0U);
  EXPECT_EQ(model().availableAlbumNames.value(), (Texts{"Summer"}));
  expectNoFailure("Album created");
}

TEST_F(AppModelAlbumTest, fillsTheCreatedAlbum) {
  launchWithSyncedPictures(2);
  world.dialogs.answers = {addItems};
  create("Summer");
  EXPECT_EQ(memberCount("Summer"), 2U);
  EXPECT_EQ(world.takeStatuses(),
            (Texts{"Creating album…", "Updating album…", "2 items added to album", "Album created"}));
}

TEST_F(AppModelAlbumTest, fillsTheCreatedAlbumFromTheOldOneWhereThatIsKnown) {
  launchWithSyncedPictures(2);
  world.photoLibrary.addAlbum("Spring", {assets().front()});
  world.run(model().refreshAlbumNames());
  world.settings().setAlbumName("Spring");
  world.dialogs.answers = {addItems};
  create("Summer");
  EXPECT_EQ(memberCount("Summer"), 1U);
}

TEST_F(AppModelAlbumTest, fillsTheCreatedAlbumWithAllThatIsRecordedWhereTheOldOneIsNotKnown) {
  launchWithSyncedPictures(2);
  world.settings().setAlbumName("Spring");  // which the user has deleted since
  world.dialogs.answers = {addItems};
  create("Summer");
  EXPECT_EQ(memberCount("Summer"), 2U);
  EXPECT_EQ(world.takeStatuses(),
            (Texts{"Creating album…", "Updating album…", "2 items added to album", "Album created"}));
}

TEST_F(AppModelAlbumTest, refusesANameThatIsTakenInAnyCase) {
  launchWithSyncedPictures(1);
  addAlbums({"Summer"});
  create("SUMMER");
  expectFailure("An album named “SUMMER” already exists. Choose it from the menu instead.", needsAttention);
  EXPECT_EQ(world.settings().albumName(), "");
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelAlbumTest, nameOfSpacesCreatesNothing) {
  launchWithSyncedPictures(0);
  create(" \n");
  EXPECT_TRUE(world.photoLibrary.fetchAlbums(std::nullopt).empty());
  expectNoFailure("Ready to import");
}

TEST_F(AppModelAlbumTest, stopDuringThePromptCreatesNothing) {
  launchWithSyncedPictures(0);
  world.dialogs.whileOpen = [&] { model().stopCheck(); };
  create("Summer");
  EXPECT_FALSE(exists("Summer"));
  EXPECT_TRUE(model().isIdle());
  EXPECT_FALSE(model().isUpdatingAlbum);
}

TEST_F(AppModelAlbumTest, stopDuringTheQuestionKeepsTheCreatedAlbum) {
  launchWithSyncedPictures(1);
  world.dialogs.answers = {addItems};
  world.dialogs.whileOpen = [&] {
    if (!world.dialogs.alerts.empty()) {
      model().stopCheck();
    }
  };
  create("Summer");
  EXPECT_TRUE(exists("Summer"));
  EXPECT_EQ(memberCount("Summer"), 0U);
  expectNoFailure("Album update stopped");
}

TEST_F(AppModelAlbumTest, failedCreationChangesNoSetting) {
  launchWithSyncedPictures(1);
  world.photoLibrary.refuseAlbumCreation();
  create("Summer");
  expectFailure("The selected Photos album could not be created.", needsAttention);
  EXPECT_EQ(world.settings().albumName(), "");
  EXPECT_FALSE(world.settings().addToAlbum());
  EXPECT_FALSE(model().isUpdatingAlbum);
}

}  // namespace tolvander::tests
