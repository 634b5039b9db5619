#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"
#include "Samples/Bytes.h"
#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Application/LibraryEdits.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

constexpr const char* header =
    "In library  Likely duplicates  Missing  New  Need review  Interrupted  Camera\n";

class CheckCommandTest : public CommandLine {
 protected:
  // A card whose files are all in the library.
  void syncCard(unsigned photos) const {
    writeSampleCard(card, {.photos = photos, .videos = 0});
    const ToolResult result = run({"sync", card.path(), "--yes"});
    ASSERT_EQ(result.status, 0) << result.errors;
  }

  void deleteInLibrary(const std::string& filename) const {
    ASSERT_EQ(deleteFromLibrary(library, filename), 1);
  }

  // One more file on the card, and a history that has an import of it begun and not ended.
  void beginImport(const std::string& filename) const {
    writeSampleCard(folder / "other", {.photos = 1, .videos = 0, .seed = 5});
    const FileURL photo = card.appending("DCIM/100CHRM/" + filename);
    fs::rename((folder / "other/DCIM/100CHRM/PICT0001.JPG").path(), photo.path());
    SyncHistoryStore(history).beginImport({FileFingerprinter::sha256(photo)});
  }

  // One more file on the card, whose import was cut short after the library had taken it in.
  void prepareImport(const std::string& filename) const {
    writeSampleCard(folder / "second", {.photos = 1, .videos = 0, .seed = 7});
    const FileURL photo = card.appending("DCIM/100CHRM/" + filename);
    fs::rename((folder / "second/DCIM/100CHRM/PICT0001.JPG").path(), photo.path());
    const FileURL staged = folder / ("staged/" + filename);
    fs::create_directory((folder / "staged").path());
    fs::copy(photo.path(), staged.path());
    const std::string fingerprint = FileFingerprinter::sha256(photo);
    SyncHistoryStore store(history);
    platform::linux_::EmbeddedPhotoLibrary(library).prepareImport(
        {.history = store.identity(),
         .files = {{.file = staged, .creationDate = {}, .fingerprint = fingerprint}},
         .albumIdentifier = {}});
    store.beginPreparedImport({{.sourceFile = {.url = photo,
                                               .volumeURL = card,
                                               .relativePath = "DCIM/100CHRM/" + filename,
                                               .filename = filename,
                                               .byteCount = 1,
                                               .modifiedAt = {}},
                                .importURL = staged,
                                .sourceFingerprint = fingerprint,
                                .mediaPayloadFingerprint = {},
                                .processedFingerprint = fingerprint,
                                .processingVersion = {},
                                .captureDate = {}}});
  }

  // What it shows there.
  std::string runOnATerminal(const std::vector<std::string>& arguments) const {
    std::string command;
    for (const std::string& argument : commandLine(arguments)) {
      command += "'" + argument + "' ";
    }
    return runTool({"script", "--quiet", "--command", command, "/dev/null"}).output;
  }

  std::string libraryText() const { return run({"library"}).output; }

  static void giveToNobody(const FileURL& folder) {
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(chown(folder.path().c_str(), nobody, nobody), 0);
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
      ASSERT_EQ(chown(entry.path().c_str(), nobody, nobody), 0) << entry.path();
    }
  }

  const FileURL card = folder / "CARD";
  const FileURL library = home.appending("pictures/Tolvander");
  const FileURL history = home.appending("data/Tolvander/history.json");
};

TEST_F(CheckCommandTest, tellsPeopleWhatIsInTheLibrary) {
  syncCard(3);
  deleteInLibrary("PICT0002.JPG");
  const std::string before = readFile(history);
  for (const auto& arguments : {std::vector<std::string>{"check"}, {"check", card.path()}}) {
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(result.output.ends_with(
        std::string("Camera check finished\n") + header +
        "         2                  0        1    0            0            0  “CARD”\n"))
        << result.output;
  }
  EXPECT_EQ(readFile(history), before);
}

TEST_F(CheckCommandTest, tellsProgramsWhatIsInTheLibrary) {
  syncCard(2);
  deleteInLibrary("PICT0002.JPG");
  const ToolResult result = run({"--json", "check"});
  EXPECT_EQ(result.status, 0) << result.errors;
  const std::string last = result.output.substr(result.output.rfind('\n', result.output.size() - 2) + 1);
  const JSONDocument document(bytesOf(last));
  const JSONObject report = document.root().object().required("result").object();
  EXPECT_EQ(report.required("outcome").string(), "done");
  const JSONObject camera = report.required("cameras").array().at(0).object();
  EXPECT_EQ(camera.required("volume").string(), card.path());
  EXPECT_EQ(camera.required("inLibrary").integer(), 1);
  EXPECT_EQ(camera.required("missing").integer(), 1);
  EXPECT_EQ(camera.required("files").object().required("missing").array().at(0).string(),
            "DCIM/100CHRM/PICT0002.JPG");
}

TEST_F(CheckCommandTest, remembersWhatItRecognizes) {
  syncCard(2);
  fs::remove(history.path());
  const ToolResult checked = run({"check"});
  EXPECT_EQ(checked.status, 0) << checked.errors;
  EXPECT_TRUE(contains(checked.output, "\n         2                  0        0    0            0"))
      << checked.output;
  EXPECT_FALSE(fs::exists(history.path()));

  const ToolResult remembered = run({"remember", card.path()});
  EXPECT_EQ(remembered.status, 0) << remembered.errors;
  EXPECT_TRUE(remembered.output.ends_with("Matches saved\n")) << remembered.output;
  EXPECT_TRUE(contains(run({"history"}).output, "2 photos and 0 videos in the library, 0 unresolved"));
  EXPECT_EQ(run({"sync"}).status, 0);
  EXPECT_TRUE(contains(libraryText(), "\n2 photos,")) << libraryText();
}

TEST_F(CheckCommandTest, restoresWhatIsMissingOnlyWithTheUsersWord) {
  syncCard(3);
  deleteInLibrary("PICT0001.JPG");
  deleteInLibrary("PICT0003.JPG");
  const ToolResult unanswered = run({"restore"});
  EXPECT_EQ(unanswered.status, 1);
  EXPECT_EQ(unanswered.errors,
            "Import 2 camera items into Photos? Nobody can be asked here, so the answer is “Cancel”. Pass "
            "--yes for “Import Missing Items”.\ntolvanderctl: Nothing was imported.\n");
  EXPECT_TRUE(contains(libraryText(), "\n1 photo,")) << libraryText();

  const ToolResult restored = run({"restore", card.path(), "--yes", "--album", "Again"});
  EXPECT_EQ(restored.status, 0) << restored.errors;
  EXPECT_TRUE(restored.output.ends_with("2 missing items imported\n")) << restored.output;
  EXPECT_TRUE(contains(libraryText(), "\n3 photos,")) << libraryText();
  EXPECT_EQ(run({"library", "albums"}).output, "“Again”  3 items\n");

  const ToolResult nothing = run({"restore"});
  EXPECT_EQ(nothing.status, 0) << nothing.errors;
  EXPECT_TRUE(nothing.output.ends_with("Nothing is missing in the photo library.\n")) << nothing.output;
}

TEST_F(CheckCommandTest, tellsProgramsHowManyItemsItRestored) {
  syncCard(2);
  deleteInLibrary("PICT0001.JPG");
  const ToolResult result = run({"--json", "restore", "--yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output, R"("failure":null,"imported":1,"cameras":[{)")) << result.output;
}

// The library holds the file already, and lists it once the import is completed. Its mark stays until its
// card is read again.
TEST_F(CheckCommandTest, interruptedImportsAreCompletedAlsoWhereTheLastCameraWasForgotten) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"sync"}, {"remember"}, {"restore", "--yes"}}) {
    fs::remove_all(home.path());
    fs::remove_all(folder.url().appending("second").path());
    fs::remove_all(folder.url().appending("staged").path());
    fs::remove_all(card.path());
    syncCard(1);
    prepareImport("PICT0009.JPG");
    ASSERT_TRUE(contains(libraryText(), "\n1 photo,")) << libraryText();
    ASSERT_EQ(run({"cameras", "forget", "CARD", "--yes"}).status, 0);
    EXPECT_EQ(run(arguments).status, 5) << "no camera is saved";
    EXPECT_TRUE(contains(libraryText(), "\n2 photos,")) << arguments.front() << ": " << libraryText();
  }
}

// Only the receipt of the sync is lost, which is shown as a failure.
TEST_F(CheckCommandTest, countsWhatItRestoredAlsoWhereTheSettingsCannotBeWritten) {
  syncCard(2);
  deleteInLibrary("PICT0001.JPG");
  const FileURL settings = home.appending("config/com.tolvander.app");
  std::vector<std::string> restore = commandLine({"--json", "restore", card.path(), "--yes"});
  if (geteuid() == 0) {  // who may write anywhere
    if (!toolExists("setpriv")) {
      GTEST_SKIP() << "setpriv isn't installed";
    }
    giveToNobody(folder.url());
    const std::vector<std::string> asNobody = {"setpriv", "--reuid", "65534",
                                               "--regid", "65534",   "--clear-groups"};
    restore.insert(restore.begin(), asNobody.begin(), asNobody.end());
  }
  fs::permissions(settings.path(), fs::perms::owner_read | fs::perms::owner_exec);
  const ToolResult result = runTool(restore);
  fs::permissions(settings.path(), fs::perms::owner_all);
  EXPECT_EQ(result.status, 1) << result.errors;
  EXPECT_TRUE(contains(result.output, R"("status":"1 missing item imported")")) << result.output;
  EXPECT_TRUE(contains(result.output, R"("imported":1,)")) << result.output;
  EXPECT_TRUE(contains(libraryText(), "\n2 photos,")) << libraryText();
}

TEST_F(CheckCommandTest, isIncompleteWhereAnImportWasCutShort) {
  syncCard(2);
  beginImport("PICT0009.JPG");
  deleteInLibrary("PICT0002.JPG");
  const ToolResult checked = run({"check"});
  EXPECT_EQ(checked.status, 3) << checked.errors;
  EXPECT_TRUE(contains(
      checked.output, std::string("Camera check incomplete\n") + header +
                          "         1                  0        1    0            0            1  “CARD”\n"
                          "“CARD”: 1 interrupted import needs recovery. Automatic retry is paused to prevent "
                          "duplicates."))
      << checked.output;

  const ToolResult restored = run({"restore", "--yes"});
  EXPECT_EQ(restored.status, 3);
  EXPECT_TRUE(contains(restored.errors, "tolvanderctl: Nothing was imported. “CARD”: 1 interrupted import"))
      << restored.errors;
  EXPECT_EQ(run({"remember"}).status, 3);
  EXPECT_TRUE(contains(libraryText(), "\n1 photo,")) << libraryText();
}

// Reading a card takes minutes.
TEST_F(CheckCommandTest, statusSaysOnATerminalThatItReadsACard) {
  syncCard(2);
  beginImport("PICT0009.JPG");
  const std::string progress = "Looking for paused imports on “CARD”: file 1 of 1";
  EXPECT_TRUE(contains(runOnATerminal({"status"}), progress));
  EXPECT_FALSE(contains(runOnATerminal({"--json", "status"}), progress));
  EXPECT_FALSE(contains(run({"status"}).output, progress));
}

TEST_F(CheckCommandTest, tellsWhatTheNextSyncFinishesFromWhatStaysPausedAsStatusDoes) {
  syncCard(2);
  prepareImport("PICT0008.JPG");
  const ToolResult cutShort = run({"check"});
  EXPECT_EQ(cutShort.status, 3) << cutShort.errors;
  EXPECT_TRUE(cutShort.output.ends_with("“CARD”: 1 import was cut short. The next sync finishes it.\n"))
      << cutShort.output;
  EXPECT_TRUE(contains(run({"status"}).output,
                       "\nCut short            1 import, which the next sync of its card finishes\n"
                       "Last sync "));

  beginImport("PICT0009.JPG");
  const std::string paused = "DCIM/100CHRM/PICT0009.JPG\n";
  const std::string checked = run({"check"}).output;
  EXPECT_TRUE(contains(checked,
                       "“CARD”: 1 import was cut short. The next sync finishes it.\n"
                       "“CARD”: 1 interrupted import needs recovery. "))
      << checked;
  EXPECT_TRUE(
      contains(checked, "\n  " + paused + "  To import the card’s other files, set such a file aside: "))
      << checked;
  const std::string status = run({"status"}).output;
  EXPECT_TRUE(contains(status, "Paused imports       “CARD”: " + paused +
                                   "                     To import the card’s other files, set such a file "
                                   "aside: tolvanderctl set-aside VOLUME FILE\n"))
      << status;
  const std::string json = run({"--json", "status"}).output;
  EXPECT_EQ(JSONDocument(bytesOf(json)).root().object().required("finishedByNextSync").integer(), 1);

  fs::rename(card.path(), (folder / "AWAY").path());
  const std::string away = run({"status"}).output;
  EXPECT_TRUE(
      contains(away, "Paused imports       1 file that was not found on a connected camera\nLast sync "))
      << away;
  fs::rename((folder / "AWAY").path(), card.path());

  EXPECT_EQ(run({"set-aside", card.path(), "PICT0009.JPG"}).status, 0);
  EXPECT_FALSE(contains(run({"status"}).output, "Paused imports"));
  const ToolResult synced = run({"sync"});
  EXPECT_EQ(synced.status, 0) << synced.errors;
  EXPECT_TRUE(contains(libraryText(), "\n3 photos,")) << libraryText();
  EXPECT_FALSE(contains(run({"status"}).output, "Cut short"));
}

// The library is looked at alone, since the camera is away.
TEST_F(CheckCommandTest, aSyncFinishesWhatWasCutShortAlsoWithoutTheCamera) {
  syncCard(2);
  prepareImport("PICT0008.JPG");
  fs::rename(card.path(), (folder / "AWAY").path());
  EXPECT_EQ(run({"sync"}).status, 5);
  EXPECT_TRUE(contains(libraryText(), "\n3 photos,")) << libraryText();
}

TEST_F(CheckCommandTest, looksOnlyAtTheCamerasThatAreNamed) {
  syncCard(1);
  const FileURL other = folder / "OTHER";
  writeSampleCard(other, {.photos = 1, .videos = 0, .seed = 2});
  ASSERT_EQ(run({"cameras", "add", other.path()}).status, 0);
  const ToolResult one = run({"check", card.path()});
  EXPECT_FALSE(contains(one.output, "“OTHER”")) << one.output;
  const ToolResult both = run({"check"});
  EXPECT_TRUE(contains(both.output, "0        0    1            0            0  “OTHER”\n")) << both.output;
  EXPECT_EQ(run({"restore", card.path(), "--yes"}).status, 0);
  EXPECT_TRUE(contains(libraryText(), "\n1 photo,")) << libraryText();
}

TEST_F(CheckCommandTest, saysWhyItCannotBegin) {
  writeSampleCard(card, {.photos = 1, .videos = 0});
  for (const char* const command : {"check", "remember", "restore"}) {
    const ToolResult result = run({command, card.path()});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.errors,
              "tolvanderctl: Tolvander isn’t set up yet. A first sync does that: tolvanderctl sync VOLUME\n");
  }
  EXPECT_FALSE(fs::exists(library.path()));
  ASSERT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
  const FileURL other = folder / "OTHER";
  fs::create_directory(other.path());
  EXPECT_TRUE(contains(run({"check", other.path()}).errors, "is no saved camera that is connected."));
  fs::remove_all(card.path());
  for (const char* const command : {"check", "remember", "restore"}) {
    const ToolResult result = run({command});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.errors, "tolvanderctl: No saved camera is connected.\n");
    EXPECT_EQ(result.output, "Waiting for connection\n");
  }
}

TEST_F(CheckCommandTest, stopsAtCtrlC) {
  syncCard(1);
  const FileURL endless = card.appending("DCIM/100CHRM/PICT0002.JPG");
  writeFile(endless, "");
  fs::resize_file(endless.path(), std::uintmax_t{1} << 40U);  // a hole; hours of work
  const FileURL log = home.appending("logs/Tolvander/Tolvander.log");
  ASSERT_TRUE(fs::remove(log.path()));
  const ToolResult result = runToolInterruptedWhenItMakes(log, commandLine({"restore", "--yes"}));
  EXPECT_EQ(result.status, 130) << result.output << result.errors;
  EXPECT_TRUE(contains(libraryText(), "\n1 photo,")) << libraryText();
}

TEST_F(CheckCommandTest, refusesWrongUsage) {
  expectWrongUsage({"check", "--yes"});
  expectWrongUsage({"remember", "--yes"});
  expectWrongUsage({"restore", "--album"});
  expectFailure({"check", (folder / "nowhere").path()}, "No such file or directory");
}

}  // namespace
}  // namespace tolvander::tests
