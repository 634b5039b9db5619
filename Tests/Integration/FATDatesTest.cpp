#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Samples/Bytes.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Fixtures/SmallCard.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {
namespace {

// A Charmera's card whose files carry the time at which the camera's clock showed noon of the first of June,
// as a driver at UTC gives it. The picture holds no date. The program sees the card as the mount
// that `fileSystem` and `superOptions` describe: /proc/self/mountinfo is covered by a made-up one.
class ScriptedCard {
 public:
  ScriptedCard(std::string_view fileSystem, std::string_view superOptions) {
    std::filesystem::create_directories(card.path());
    if (mount("tmpfs", card.path().c_str(), "tmpfs", 0, nullptr) != 0) {
      throw std::runtime_error("can't mount a tmpfs");
    }
    makeSmallCard(card);
    const Bytes photo = JPEGBuilder()
                            .exif(TIFFBuilder())
                            .quantisationTable()
                            .huffmanTable()
                            .frame(640, 480)
                            .scan()
                            .endOfImage()
                            .build();
    writeFile(picture, {reinterpret_cast<const char*>(photo.data()), photo.size()});
    addSmallVideo(card, "PICT0002.AVI", 1);
    setNoon(picture);
    setNoon(video);
    writeTable(" - " + std::string(fileSystem) + " /dev/sdz1 " + std::string(superOptions));
  }

  // What the program prints as JSON.
  JSONDocument tells(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(),
                     {"sh", "-c", "mount --bind \"$0\" /proc/$$/mountinfo && exec \"$@\"", table.path(),
                      TOLVANDERCTL, "--json", "--home", (folder / "home").path()});
    const ToolResult result = runTool(arguments);
    EXPECT_EQ(result.status, 0) << result.errors << result.output;
    const std::string lastLine =
        arguments.at(8) == "sync" ? result.output.substr(result.output.rfind("\n{") + 1) : result.output;
    return JSONDocument(bytesOf(lastLine));
  }

  std::string text(const std::vector<std::string>& arguments, const std::string& key) const {
    return std::string(tells(arguments).root().object().required(key).string());
  }

  std::string modifiedAtOfFirstFile() const {
    const JSONDocument document = tells({"scan", card.path()});
    return std::string(
        document.root().object().required("files").array().at(0).object().required("modifiedAt").string());
  }

  const TemporaryFolder folder;
  const FileURL card = folder / "card";
  const FileURL table = folder / "mountinfo";
  const FileURL picture = onSmallCard(card, "PICT0001.JPG");
  const FileURL video = onSmallCard(card, "PICT0002.AVI");

 private:
  static void setNoon(const FileURL& url) {
    constexpr std::time_t noon = 1'780'315'200;  // 2026-06-01T12:00:00Z
    const timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = noon, .tv_nsec = 0}};
    if (utimensat(AT_FDCWD, url.path().c_str(), times, 0) != 0) {
      throw std::runtime_error("can't set a time");
    }
  }

  // This machine's mounts, the card's with another end.
  void writeTable(const std::string& end) const {
    std::string text;
    std::istringstream lines(readFile(FileURL("/proc/self/mountinfo")));
    for (std::string line; std::getline(lines, line);) {
      const bool isCard = line.find(" " + card.path() + " ") != std::string::npos;
      text += (isCard ? line.substr(0, line.find(" - ")) + end : line) + "\n";
    }
    writeFile(table, text);
  }
};

class FATDates : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = reasonAgainstPrivateMounts()) {
      GTEST_SKIP() << *reason;
    }
  }

  static void inZone(const char* zone, const std::function<void()>& body) {
    inPrivateMountNamespace([&] {
      setenv("TZ", zone, 1);
      body();
    });
  }
};

TEST_F(FATDates, areTheCamerasClockReadInTheUsersZone) {
  inZone("Europe/Berlin", [] {
    EXPECT_EQ(ScriptedCard("vfat", "rw,utf8,tz=UTC").modifiedAtOfFirstFile(), "2026-06-01T10:00:00Z");
    EXPECT_EQ(ScriptedCard("exfat", "rw,iocharset=utf8").modifiedAtOfFirstFile(), "2026-06-01T10:00:00Z");
    EXPECT_EQ(ScriptedCard("vfat", "rw,time_offset=120").modifiedAtOfFirstFile(), "2026-06-01T12:00:00Z");
  });
  inZone("America/New_York", [] {
    EXPECT_EQ(ScriptedCard("vfat", "rw,tz=UTC").modifiedAtOfFirstFile(), "2026-06-01T16:00:00Z");
  });
}

TEST_F(FATDates, ofOtherFileSystemsStay) {
  inZone("Europe/Berlin", [] {
    EXPECT_EQ(ScriptedCard("ext4", "rw").modifiedAtOfFirstFile(), "2026-06-01T12:00:00Z");
    EXPECT_EQ(ScriptedCard("fuse.exfat-fuse", "rw,tz=UTC").modifiedAtOfFirstFile(), "2026-06-01T12:00:00Z");
  });
}

TEST_F(FATDates, giveAPlanWhatTheCameraShowedInEveryZone) {
  inZone("Europe/Berlin", [] {
    const ScriptedCard card("vfat", "rw,tz=UTC");
    EXPECT_EQ(card.text({"plan", card.picture.path()}, "captureDate"), "2026:06:01 12:00:00");
    EXPECT_EQ(card.text({"plan", card.picture.path(), "--zone", "Asia/Kathmandu"}, "captureDate"),
              "2026:06:01 12:00:00");
    EXPECT_EQ(card.text({"plan", card.video.path()}, "captureDate"), "2026:06:01 12:00:00");
    // A date given by hand is an instant.
    EXPECT_EQ(card.text({"plan", card.picture.path(), "--modified", "2026-06-01T12:00:00Z"}, "captureDate"),
              "2026:06:01 14:00:00");
  });
}

TEST_F(FATDates, giveAMovieTheInstantOfTheCamerasClock) {
  inZone("Europe/Berlin", [] {
    const ScriptedCard card("vfat", "rw,tz=UTC");
    EXPECT_EQ(card.text({"rewrap", card.video.path(), (card.folder / "movie.mov").path()}, "captureDate"),
              "2026-06-01T10:00:00Z");
  });
}

TEST_F(FATDates, giveTheLibraryTheInstantOfTheCamerasClock) {
  inZone("Europe/Berlin", [] {
    const ScriptedCard card("vfat", "rw,tz=UTC");
    card.tells({"sync", card.card.path(), "--yes"});
    const JSONDocument document = card.tells({"library", "assets"});
    const auto assets = document.root().object().required("assets").array();
    ASSERT_EQ(assets.size(), 2U);
    for (const auto& asset : assets) {
      EXPECT_EQ(asset.object().required("creationDate").string(), "2026-06-01T10:00:00Z");
    }
  });
}

}  // namespace
}  // namespace tolvander::tests
