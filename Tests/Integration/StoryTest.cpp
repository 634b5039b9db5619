#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Samples/SampleCard.h"
#include "Tests/Support/Application/LibraryEdits.h"
#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "Tests/Support/Machine/VolumeRig.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

// A user with one camera and a separate home, at the command line.
class User {
 public:
  ToolResult does(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {TOLVANDERCTL, "--home", home.path()});
    return runTool(arguments);
  }

  // The same, with an end by SIGKILL just before the history file is replaced for the second time.
  void isCutOffBeforeTheRecord(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(),
                     {"strace", "-f", "-o", (folder / "trace").path(), "-P", history.path(), "-e",
                      "trace=rename,renameat2", "-e", "inject=renameat2:signal=KILL:when=2", TOLVANDERCTL,
                      "--home", home.path()});
    EXPECT_NE(runTool(arguments).status, 0);
    EXPECT_NE(readFile(folder / "trace").find("+++ killed by SIGKILL +++"), std::string::npos);
  }

  TemporaryFolder folder;
  const FileURL home = folder / "home";
  const FileURL library = home.appending("pictures/Tolvander");
  const FileURL history = home.appending("data/Tolvander/history.json");
};

void expectDone(const ToolResult& result, std::string_view lastWords) {
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(result.output.find(lastWords), std::string::npos) << result.output;
}

// A card's content, with the times of its files.
void copyCard(const FileURL& from, const FileURL& to) {
  const ToolResult copied = runTool({"cp", "-a", from.path() + "/.", to.path()});
  ASSERT_EQ(copied.status, 0) << copied.errors;
}

std::size_t filesBelow(const FileURL& folder) {
  const fs::recursive_directory_iterator entries(folder.path());
  return static_cast<std::size_t>(
      std::ranges::count_if(entries, [](const auto& entry) { return entry.is_regular_file(); }));
}

TEST(Story, keepsEveryPictureOnceThroughTrashLossAndACrash) {
  if (const auto reason = reasonAgainstVolumeRig()) {
    GTEST_SKIP() << *reason;
  }
  if (!toolExists("strace")) {
    GTEST_SKIP() << "needs strace";
  }
  inVolumeRig([](VolumeRig& rig) {
    const User user;
    const FileURL card = rig.plugIn(LoopVolume::Format::ext4, "CHARMERA");
    const FileURL place = rig.mount(card);
    const FileURL photos = place.appending("DCIM/100CHRM");
    writeSampleCard(user.folder / "card", {.photos = 4, .videos = 1});
    copyCard(user.folder / "card", place);

    expectDone(user.does({"sync", place.path(), "--yes", "--trash", "yes"}), "4 photos and 1 video synced\n");
    EXPECT_EQ(namesIn(photos), Names());
    expectDone(user.does({"trash", "list"}), "“CHARMERA”: 5 files in the Trash\n");
    expectDone(user.does({"trash", "restore", "PICT0002.JPG", "--yes"}), "1 file restored to the camera\n");
    expectDone(user.does({"trash", "restore", "PICT0003.JPG", "--yes"}), "1 file restored to the camera\n");
    EXPECT_EQ(namesIn(photos), (Names{"PICT0002.JPG", "PICT0003.JPG"}));
    EXPECT_EQ(readFile(photos.appending("PICT0002.JPG")),
              readFile(user.folder / "card/DCIM/100CHRM/PICT0002.JPG"));
    expectDone(user.does({"trash", "clear", "--yes"}), "3 camera files cleared from Trash\n");
    expectDone(user.does({"trash", "list"}), "No camera file lies in the Trash.\n");
    expectDone(user.does({"check"}), "\n         2                  0        0    0 ");

    EXPECT_EQ(deleteFromLibrary(user.library, "PICT0002.JPG"), 1);
    EXPECT_EQ(deleteFromLibrary(user.library, "PICT0003.JPG"), 1);
    expectDone(user.does({"check"}), "\n         0                  0        2    0 ");
    expectDone(user.does({"sync"}), "nothing new\n");
    expectDone(user.does({"restore", "--yes"}), "2 missing items imported\n");
    expectDone(user.does({"check"}), "\n         2                  0        0    0 ");
    EXPECT_EQ(filesBelow(user.library.appending("Originals")), 5U);

    writeSampleCard(user.folder / "more", {.photos = 1, .videos = 0, .seed = 7});
    copyCard(user.folder / "more", place);
    user.isCutOffBeforeTheRecord({"sync"});
    expectDone(user.does({"history"}), "1 unresolved import,");
    EXPECT_EQ(filesBelow(user.library.appending("Originals")), 6U);
    expectDone(user.does({"check"}),
               "\n         3                  0        0    0            0            0  ");
    expectDone(user.does({"remember"}), "Matches saved\n");
    expectDone(user.does({"history"}), "0 unresolved imports,");
    EXPECT_TRUE(fs::exists(place.path()));

    expectDone(user.does({"sync", "--eject"}), "Checked & ejected\n");
    EXPECT_FALSE(fs::exists(place.path()));
    EXPECT_FALSE(rig.hasMedium(card));
    EXPECT_EQ(filesBelow(user.library.appending("Originals")), 6U);
    const ToolResult verified = user.does({"library", "verify"});
    EXPECT_EQ(verified.status, 3);  // two were deleted, and have come again under other names
    EXPECT_NE(verified.output.find("PICT0002.JPG"), std::string::npos) << verified.output;
    EXPECT_NE(verified.output.find("PICT0003.JPG"), std::string::npos) << verified.output;
    const ToolResult withoutCamera = user.does({"sync"});
    EXPECT_EQ(withoutCamera.status, 5);
    EXPECT_NE(withoutCamera.output.find("Waiting for connection\n"), std::string::npos)
        << withoutCamera.output;
  });
}

TEST(Story, ejectsASavedCameraAndNothingElse) {
  if (const auto reason = reasonAgainstVolumeRig()) {
    GTEST_SKIP() << *reason;
  }
  inVolumeRig([](VolumeRig& rig) {
    const User user;
    const FileURL card = rig.plugIn(LoopVolume::Format::ext4, "CHARMERA");
    const FileURL place = rig.mount(card);
    writeSampleCard(user.folder / "card", {.photos = 1, .videos = 0});
    copyCard(user.folder / "card", place);
    const FileURL other = rig.mount(rig.plugIn(LoopVolume::Format::ext4, "OTHER"));
    expectDone(user.does({"sync", place.path(), "--yes"}), "1 photo synced\n");

    EXPECT_EQ(user.does({"eject", other.path()}).status, 1);
    EXPECT_TRUE(fs::exists(other.path()));
    expectDone(user.does({"eject", place.path()}), "Ejecting CHARMERA…\nEjected CHARMERA\n");
    EXPECT_FALSE(fs::exists(place.path()));
    EXPECT_FALSE(rig.hasMedium(card));
  });
}

}  // namespace
}  // namespace tolvander::tests
