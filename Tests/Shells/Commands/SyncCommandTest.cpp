#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "Platform/Linux/System/HomeLock.h"
#include "Samples/Bytes.h"
#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Application/SyncedHome.h"
#include "Tests/Support/Fixtures/SmallCard.h"
#include "Tests/Support/Machine/RunningTool.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

std::size_t filesBelow(const FileURL& folder) {
  if (!fs::exists(folder.path())) {
    return 0;
  }
  const fs::recursive_directory_iterator entries(folder.path());
  return static_cast<std::size_t>(
      std::ranges::count_if(entries, [](const auto& entry) { return entry.is_regular_file(); }));
}

class SyncCommandTest : public CommandLine {
 protected:
  void makeCard(unsigned photos = 2, unsigned videos = 1) const {
    writeSampleCard(card, {.photos = photos, .videos = videos});
  }

  // The files of the library.
  // Without what waits to be imported, which a sync that was stopped leaves to the next one.
  std::size_t originals() const {
    const FileURL all = home.appending("pictures/Tolvander/Originals");
    return filesBelow(all) - filesBelow(all.appending(".incoming"));
  }
  std::size_t filesOnCard() const { return filesBelow(card.appending("DCIM")); }

  // Photos of one day, whose names have this prefix and three digits.
  void syncHundredsAndThenOneMore(const std::string& prefix) const {
    const auto add = [&](unsigned number) {
      const std::string digits = std::to_string(1'000 + number).substr(1);
      addSmallPhoto(card, prefix + digits + ".JPG", number, number % 60);
    };
    for (unsigned number = 1; number <= hundreds; ++number) {
      add(number);
    }
    ASSERT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
    ASSERT_EQ(originals(), hundreds);
    add(hundreds + 1);
    const ToolResult result = run({"sync", card.path()});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(contains(result.output, "“CARD”: 1 photo imported\n")) << result.output;
    EXPECT_EQ(originals(), hundreds + 1);
  }

  static constexpr unsigned hundreds = 760;  // more than a search reads

  const FileURL card = folder / "CARD";
};

TEST_F(SyncCommandTest, importsACardOnce) {
  makeCard();
  const ToolResult first = run({"sync", card.path(), "--yes"});
  EXPECT_EQ(first.status, 0) << first.errors;
  EXPECT_TRUE(contains(first.output, "Scanning Charmera…\n")) << first.output;
  EXPECT_TRUE(contains(first.output, "2 photos and 1 video synced\n“CARD”: 2 photos and 1 video imported\n"))
      << first.output;
  EXPECT_EQ(originals(), 3U);

  const ToolResult second = run({"sync", card.path()});
  EXPECT_EQ(second.status, 0) << second.errors;
  EXPECT_TRUE(contains(second.output, "Camera up to date\n“CARD”: nothing new\n")) << second.output;
  EXPECT_EQ(originals(), 3U);
  EXPECT_EQ(filesOnCard(), 3U);
}

TEST_F(SyncCommandTest, syncsSavedCamerasWithoutBeingToldWhich) {
  makeCard();
  EXPECT_EQ(run({"cameras", "add", card.path()}).status, 0);
  EXPECT_EQ(originals(), 0U);
  const ToolResult result = run({"sync", "--yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(originals(), 3U);
}

TEST_F(SyncCommandTest, leavesOtherCamerasAloneWhereSomeAreNamed) {
  makeCard();
  const FileURL other = folder / "OTHER";
  writeSampleCard(other, {.photos = 1, .videos = 0, .seed = 2});
  ASSERT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  ASSERT_EQ(run({"cameras", "add", other.path()}).status, 0);
  EXPECT_EQ(run({"sync", card.path()}).status, 0);
  EXPECT_EQ(originals(), 3U);
  const ToolResult both = run({"sync"});
  EXPECT_EQ(both.status, 0);
  EXPECT_TRUE(contains(both.output, "“OTHER”: 1 photo imported\n")) << both.output;
  EXPECT_EQ(originals(), 4U);
}

TEST_F(SyncCommandTest, syncsSeveralNewCardsAtOnce) {
  makeCard();
  const FileURL other = folder / "OTHER";
  writeSampleCard(other, {.photos = 1, .videos = 0, .seed = 2});
  const ToolResult result = run({"sync", card.path(), other.path(), "--yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output, "“CARD”: 2 photos and 1 video imported\n")) << result.output;
  EXPECT_TRUE(contains(result.output, "“OTHER”: 1 photo imported\n")) << result.output;
  EXPECT_EQ(originals(), 4U);
}

TEST_F(SyncCommandTest, importsANewPhotoBesideHundredsThatWereImportedThatDay) {
  makeSmallCard(card);
  syncHundredsAndThenOneMore("PICT0");

  // Without its record the newest one is found in the library again, among all the others.
  const SyncedHome synced(home);
  HistoryDatabase history = synced.history();
  std::vector<ImportRecord> records(history.imports.begin(), history.imports.end());
  std::erase_if(records, [](const ImportRecord& record) { return record.filename == "PICT0761.JPG"; });
  ASSERT_EQ(records.size(), hundreds);
  history.imports = ImportRecords(std::move(records));
  std::string text;
  writeHistory(history, [&](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  writeFile(synced.historyFile(), text);
  EXPECT_EQ(run({"sync", card.path()}).status, 0);
  EXPECT_EQ(originals(), hundreds + 1);
  EXPECT_EQ(synced.history().imports.size(), hundreds + 1);
}

// Its pictures have no fingerprint but that of the whole file.
TEST_F(SyncCommandTest, importsANewPhotoBesideHundredsAlsoFromACameraThatIsNoCharmera) {
  syncHundredsAndThenOneMore("IMG_1");
}

TEST_F(SyncCommandTest, fillsTheAlbumOfThisRun) {
  makeCard();
  ASSERT_EQ(run({"sync", card.path(), "--yes", "--album", "Summer"}).status, 0);
  EXPECT_EQ(run({"library", "albums"}).output, "“Summer”  3 items\n");
  EXPECT_TRUE(contains(run({"status"}).output, "Album                none\n"));
}

TEST_F(SyncCommandTest, movesSyncedFilesToTheTrashWhereToldTo) {
  makeCard();
  const ToolResult result = run({"sync", card.path(), "--yes", "--trash", "yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(filesOnCard(), 0U);
  EXPECT_EQ(originals(), 3U);
  const std::string trash = ".Trash-" + std::to_string(getuid());
  EXPECT_EQ(filesBelow(card.appending(trash + "/files")), 3U);
}

TEST_F(SyncCommandTest, keepsFilesOnTheCardWhereNobodyCanBeAsked) {
  makeCard();
  const ToolResult result = run({"sync", card.path(), "--yes", "--trash", "ask"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(filesOnCard(), 3U);
  EXPECT_EQ(result.errors,
            "Move 3 synced files to the Trash? Nobody can be asked here, so the answer is “Keep on "
            "Camera”. Pass --trash yes for “Move to Trash”.\n");
}

TEST_F(SyncCommandTest, keepsFilesOnTheCardWhereToldTo) {
  makeCard();
  ASSERT_EQ(run({"sync", card.path(), "--yes", "--trash", "no"}).status, 0);
  EXPECT_EQ(filesOnCard(), 3U);
}

TEST_F(SyncCommandTest, saysThatAFolderCannotBeEjectedAndKeepsWhatItImported) {
  makeCard();
  const ToolResult result = run({"sync", card.path(), "--yes", "--eject"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "tolvanderctl: CARD could not be ejected: ")) << result.errors;
  EXPECT_EQ(originals(), 3U);
}

TEST_F(SyncCommandTest, changesNothingWithoutAnAnswer) {
  makeCard();
  const ToolResult withoutLibrary = run({"sync", card.path()});
  EXPECT_EQ(withoutLibrary.status, 1);
  EXPECT_TRUE(contains(withoutLibrary.errors, "Pass --yes for “Make Photo Library”.\n"))
      << withoutLibrary.errors;
  EXPECT_FALSE(fs::exists(home.appending("pictures").path()));

  const FileURL other = folder / "OTHER";
  writeSampleCard(other, {.photos = 1, .videos = 0, .seed = 2});
  ASSERT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  const ToolResult unknownCard = run({"sync", other.path()});
  EXPECT_EQ(unknownCard.status, 1);
  EXPECT_TRUE(contains(unknownCard.errors, "Pass --yes for “Use This Drive”.\n")) << unknownCard.errors;
  EXPECT_TRUE(contains(unknownCard.errors, "was not remembered as a camera, and nothing was imported.\n"));
  EXPECT_EQ(originals(), 3U);
}

TEST_F(SyncCommandTest, saysWhereNoCameraIsSaved) {
  const ToolResult result = run({"sync", "--yes"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.errors,
            "tolvanderctl: No camera is saved. Name one to sync it and to remember it: tolvanderctl sync "
            "VOLUME\n");
}

TEST_F(SyncCommandTest, saysWhereNoSavedCameraIsHere) {
  makeCard();
  ASSERT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  fs::remove_all(card.path());
  const ToolResult result = run({"sync"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.errors, "tolvanderctl: No saved camera is connected.\n");
  EXPECT_TRUE(contains(result.output, "Waiting for connection\n")) << result.output;
}

TEST_F(SyncCommandTest, importsNothingWhileTheHistoryIsUnreadable) {
  makeCard();
  const FileURL history = home.appending("data/Tolvander/history.json");
  writeFile(history, "broken");
  const ToolResult result = run({"sync", card.path(), "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors,
            "tolvanderctl: Tolvander couldn’t read its import history. Sync is paused to prevent duplicates. "
            "Contact support@tolvander.example for help.\n");
  EXPECT_EQ(readFile(history), "broken");
  EXPECT_EQ(originals(), 0U);
  EXPECT_EQ(filesOnCard(), 3U);
}

TEST_F(SyncCommandTest, failsWhereTheLibraryCannotBeMade) {
  makeCard();
  writeFile(home.appending("pictures"), "a file");
  const ToolResult result = run({"sync", card.path(), "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "tolvanderctl: Photos access was not granted.")) << result.errors;
}

TEST_F(SyncCommandTest, leavesUnreadableSettingsAsTheyAre) {
  makeCard();
  const FileURL settings = home.appending("config/com.tolvander.app/defaults.json");
  writeFile(settings, "broken");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"sync", card.path(), "--yes"}, {"cameras", "list"}, {"status"}}) {
    expectFailure(arguments, "Settings could not be read, and nothing was changed.");
  }
  EXPECT_EQ(readFile(settings), "broken");
}

TEST_F(SyncCommandTest, tellsTheSecondProcessWhoHoldsTheHome) {
  makeCard();
  ASSERT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  {
    const platform::linux_::HomeLock lock(home.appending("data/Tolvander/lock"));
    const std::string holder = "(process " + std::to_string(getpid()) + ")";
    expectFailure({"sync", card.path()}, holder);
    expectFailure({"watch"}, holder);
    expectFailure({"cameras", "add", card.path()}, holder);
    expectFailure({"cameras", "forget", "CARD", "--yes"}, holder);
    EXPECT_TRUE(contains(run({"status"}).output, holder));
    for (const std::vector<std::string>& readOnly : {std::vector<std::string>{"cameras", "list"},
                                                     {"library"},
                                                     {"library", "verify"},
                                                     {"log"},
                                                     {"history"}}) {
      EXPECT_EQ(run(readOnly).status, 0) << testing::PrintToString(readOnly);
    }
  }
  EXPECT_EQ(run({"sync", card.path()}).status, 0);
}

TEST_F(SyncCommandTest, importsEachFileOnceWhenTwoSyncsStartTogether) {
  makeCard();
  const std::string once =
      std::string(TOLVANDERCTL) + " --home '" + home.path() + "' sync --yes '" + card.path() + "'";
  const ToolResult result =
      runTool({"sh", "-c", once + " & " + once + "; first=$?; wait $!; echo \"$first $?\""});
  EXPECT_EQ(originals(), 3U);
  // One of them at least has done it; the other came too late, or after it.
  EXPECT_FALSE(contains(result.output, "1 1\n")) << result.output << result.errors;
}

TEST_F(SyncCommandTest, givesProgramsALineOfJSONForEveryThingAndTheResultLast) {
  makeCard();
  const ToolResult result = run({"--json", "sync", card.path(), "--yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  std::istringstream lines(result.output);
  std::string last;
  bool hasStatus = false;
  bool hasProgress = false;
  for (std::string line; std::getline(lines, line);) {
    const JSONDocument document(bytesOf(line));
    hasStatus = hasStatus || document.root().object().optionalString("status") == "Scanning camera…";
    hasProgress = hasProgress || (document.root().object().optionalString("phase") == "importing" &&
                                  document.root().object().optionalInteger("completed") == 3 &&
                                  document.root().object().optionalInteger("total") == 3);
    last = line;
  }
  EXPECT_TRUE(hasStatus);
  EXPECT_TRUE(hasProgress);
  const JSONDocument document(bytesOf(last));
  const JSONObject report = document.root().object().required("result").object();
  EXPECT_EQ(report.required("outcome").string(), "done");
  const auto cameras = report.required("cameras").array();
  ASSERT_EQ(cameras.size(), 1U);
  EXPECT_EQ(cameras[0].object().required("imported").integer(), 3);
  EXPECT_EQ(cameras[0].object().required("videos").integer(), 1);
}

TEST_F(SyncCommandTest, stopsAtCtrlCAndGoesOnTheNextTime) {
  makeCard(20, 0);
  fs::create_directories(home.appending("data/Tolvander").path());
  const ToolResult stopped = runToolInterruptedWhenItMakes(home.appending("data/Tolvander/history.json"),
                                                           commandLine({"sync", card.path(), "--yes"}));
  EXPECT_EQ(stopped.status, 130) << stopped.output << stopped.errors;
  EXPECT_TRUE(contains(stopped.errors, "Stopping at the next safe point.")) << stopped.errors;
  EXPECT_LT(originals(), 20U);
  EXPECT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  EXPECT_EQ(originals(), 20U);
}

TEST_F(SyncCommandTest, tellsWhatArrivedBeforeTheCameraWentAway) {
  makeCard(40, 0);
  RunningTool sync(commandLine({"--json", "sync", card.path(), "--yes"}));
  sync.waitForLine(R"("completed":4)");
  fs::rename(card.path(), (folder / "pulled out").path());
  const std::string line = sync.waitForLine(R"({"result":)");
  EXPECT_EQ(sync.waitForEnd(), 4) << sync.output();
  EXPECT_EQ(sync.errors(), "tolvanderctl: The camera went away before everything was done.\n");
  const JSONDocument document(bytesOf(line));
  const JSONObject result = document.root().object().required("result").object();
  EXPECT_EQ(result.required("outcome").string(), "cameraWentAway");
  EXPECT_EQ(result.required("status").string(), "Check stopped");
  const JSONObject camera = result.required("cameras").array().at(0).object();
  EXPECT_EQ(camera.required("imported").integer(), static_cast<std::int64_t>(originals()));
  EXPECT_EQ(camera.required("notImported").integer(), 40 - static_cast<std::int64_t>(originals()));
  EXPECT_LT(originals(), 40U);
}

TEST_F(SyncCommandTest, stopsAtASafePointWhenItsTerminalCloses) {
  makeCard(40, 0);
  RunningTool sync(commandLine({"--json", "sync", card.path(), "--yes"}));
  sync.waitForLine(R"("completed":4)");
  sync.send(SIGHUP);
  sync.send(SIGHUP);  // as the shell sends one and the kernel another
  EXPECT_EQ(sync.waitForEnd(), 130);
  EXPECT_TRUE(contains(sync.output(), R"("outcome":"stopped")")) << sync.output();
  EXPECT_LT(originals(), 40U);
  EXPECT_TRUE(contains(run({"history"}).output, std::to_string(originals()))) << run({"history"}).output;
}

TEST_F(SyncCommandTest, goesOnWithoutItsTerminalWhereItWasToldTo) {
  makeCard(8, 0);
  RunningTool sync({"sh", "-c",
                    "trap '' HUP; exec " TOLVANDERCTL " --home '" + home.path() + "' --json sync --yes '" +
                        card.path() + "'"});
  sync.waitForLine(R"("completed":4)");
  sync.send(SIGHUP);
  EXPECT_EQ(sync.waitForEnd(), 0);
  EXPECT_EQ(originals(), 8U);
}

TEST_F(SyncCommandTest, goesOnWhenNothingReadsItsOutputAnyMore) {
  makeCard(8, 0);
  runTool({"sh", "-c",
           TOLVANDERCTL " --home '" + home.path() + "' --json sync --yes '" + card.path() + "' | head -n 1"});
  EXPECT_EQ(originals(), 8U);
}

TEST_F(SyncCommandTest, refusesPlacesThatAreNoDrive) {
  makeCard();
  const auto refusal = [&](const std::string& place) {
    const ToolResult result = run({"sync", place, "--yes"});
    EXPECT_EQ(result.status, 1);
    return result.errors;
  };
  EXPECT_EQ(refusal(card.appending("DCIM").path()),
            "tolvanderctl: Choose the drive itself rather than one of its folders.\n");
  for (const char* const place : {"/", "/proc"}) {
    EXPECT_EQ(refusal(place), "tolvanderctl: Please choose a mounted removable drive.\n") << place;
  }
  EXPECT_EQ(originals(), 0U);
  expectFailure({"cameras", "add", card.appending("DCIM").path()},
                "Choose the drive itself rather than one of its folders.");
}

TEST_F(SyncCommandTest, namesTheFolderOfACardThatCannotBeRead) {
  makeCard();
  const std::string name(200, 'd');
  std::string below = name;  // the whole path is longer than the system takes
  for (int level = 1; level < 12; ++level) {
    below += "/" + name;
  }
  const ToolResult made = runTool(
      {"sh", "-c",
       "cd '" + card.path() + "/DCIM' && mkdir -p " + below + " && cd " + below + " && mkdir -p " + below});
  ASSERT_EQ(made.status, 0) << made.errors;
  const ToolResult result = run({"sync", card.path(), "--yes"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "tolvanderctl: cannot ")) << result.errors;
  EXPECT_TRUE(contains(result.errors, card.path() + "/DCIM/ddd")) << result.errors;
  EXPECT_FALSE(contains(result.errors, "No camera was found"));
}

TEST_F(SyncCommandTest, refusesWrongUsage) {
  expectWrongUsage({"sync", "--trash", "maybe"});
  expectWrongUsage({"sync", "--album"});
  expectWrongUsage({"sync", "--unknown"});
  expectFailure({"sync", (folder / "nowhere").path()}, "No such file or directory");
  writeFile(card, "x");
  expectFailure({"sync", card.path()}, "Not a directory");
}

}  // namespace
}  // namespace tolvander::tests
