#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include "Tests/Support/Application/SyncedHome.h"
#include "Tests/Support/Fixtures/SmallCard.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/OpenGate.h"
#include "Tests/Support/Machine/RunningTool.h"
#include "Tests/Support/Machine/Tool.h"
#include "Tests/Support/Machine/VolumeRig.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

using Strings = std::vector<std::string>;

// More than one staging batch of 16, and several transaction batches of 4.
constexpr unsigned filesOfCard = 18;

// Where a sync is stopped.
enum class Moment { fingerprinting, staging, insideTheLibrarysCommit, betweenCommitAndRecord };

std::string nameOf(Moment moment) {
  switch (moment) {
    case Moment::fingerprinting:
      return "Fingerprinting";
    case Moment::staging:
      return "Staging";
    case Moment::insideTheLibrarysCommit:
      return "InsideTheLibrarysCommit";
    case Moment::betweenCommitAndRecord:
      break;
  }
  return "BetweenCommitAndRecord";
}

bool isOnCard(Moment moment) { return moment == Moment::fingerprinting || moment == Moment::staging; }

// A home on a separate file system, and the files that a card is given.
class Scene {
 public:
  // `bytes` of room. In a separate mount namespace.
  explicit Scene(std::string_view size = "64m") {
    // The desktop of the user who runs the tests shows no notification.
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    fs::create_directory(home.url().path());
    mountMemory(home.url(), size);
    makeSmallCard(files);
    for (unsigned number = 1; number <= filesOfCard; ++number) {
      addSmallPhoto(files, nameOfPhoto(number), number, number);
    }
  }
  ~Scene() { umount2(home.url().path().c_str(), MNT_DETACH); }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  static void mountMemory(const FileURL& place, std::string_view size, unsigned long flags = 0) {
    if (mount("tmpfs", place.path().c_str(), "tmpfs", flags, ("size=" + std::string(size)).c_str()) != 0) {
      throw std::runtime_error("tmpfs can't be mounted at " + place.path());
    }
  }

  // Puts the first `count` files onto a card.
  void fill(const FileURL& card, unsigned count = filesOfCard) const {
    fs::create_directories(card.appending("SPIDCIM").path());
    fs::create_directories(card.appending("DCIM/100CHRM").path());
    for (unsigned number = 1; number <= count; ++number) {
      fs::copy_file(onSmallCard(files, nameOfPhoto(number)).path(),
                    onSmallCard(card, nameOfPhoto(number)).path(), fs::copy_options::skip_existing);
    }
  }

  Strings command(Strings arguments) const {
    arguments.insert(arguments.begin(), {TOLVANDERCTL, "--home", home.url().path()});
    return arguments;
  }

  ToolResult run(Strings arguments) const { return runTool(command(std::move(arguments))); }

  // Makes the library, saves the camera and syncs what is there.
  void setUp(const FileURL& card) const {
    const ToolResult result = run({"sync", "--yes", card.path()});
    EXPECT_EQ(result.status, 0) << result.output << result.errors;
  }

  // Lets a running sync go on to that moment, and holds it there.
  static void holdAt(Moment moment, OpenGate& gate) {
    const auto isSave = [](const FileURL& file) {
      return file.lastPathComponent().starts_with(".history.json.");
    };
    switch (moment) {
      case Moment::fingerprinting:
        gate.holdNext([](const FileURL& file) { return file.lastPathComponent() == "PICT0003.JPG"; });
        break;
      case Moment::staging:  // which opens each file a second time
        holdAt(Moment::fingerprinting, gate);
        holdAt(Moment::fingerprinting, gate);
        break;
      case Moment::insideTheLibrarysCommit:  // which begins once its batch is marked
        gate.holdNext(isSave);
        gate.holdNext([](const FileURL& file) { return file.lastPathComponent() == "Library.lock"; });
        break;
      case Moment::betweenCommitAndRecord:
        // The first save marks a batch, the second one records it.
        gate.holdNext(isSave);
        gate.holdNext(isSave);
        break;
    }
  }

  // Fills the home's file system up to that many bytes, until the returned file is removed.
  FileURL leaveRoom(std::uintmax_t bytes) const {
    const FileURL ballast = home.url().appending("ballast");
    const auto available = fs::space(home.url().path()).available;
    writeFile(ballast, std::string(available - std::min(available, bytes), '-'));
    return ballast;
  }

  Strings contentOf(const FileURL& card) const {
    Strings content;
    for (const FileURL& file : filesOf(card)) {
      content.push_back(readFile(file));
    }
    return content;
  }

  // Every file once in the library, and the card as it was.
  void expectAllDone(const FileURL& card) const {
    home.expectEachOnce(filesOf(files));
    EXPECT_EQ(contentOf(card), contentOf(files));
  }

  TemporaryFolder folder;
  const SyncedHome home{folder / "home"};
  const FileURL files = folder / "files";

 private:
  static std::string nameOfPhoto(unsigned number) {
    return "PICT00" + std::string(number < 10 ? "0" : "") + std::to_string(number) + ".JPG";
  }

  static std::vector<FileURL> filesOf(const FileURL& card) {
    std::vector<FileURL> found;
    for (const auto& entry : fs::directory_iterator(card.appending("DCIM/100CHRM").path())) {
      found.emplace_back(entry.path().string());
    }
    std::ranges::sort(found);
    return found;
  }
};

// MARK: With drives

class Watch : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = reasonAgainstVolumeRig()) {
      GTEST_SKIP() << *reason;
    }
    if (const auto reason = OpenGate::reasonAgainst()) {
      GTEST_SKIP() << *reason;
    }
  }
};

// A card in the rig that was synced once, with `synced` files, and has got the others since. It isn't
// mounted.
FileURL plugInKnownCard(VolumeRig& rig, const Scene& scene, LoopVolume::Format format, unsigned synced = 1) {
  const FileURL device = rig.plugIn(format, "CAMERA");
  const FileURL place = rig.mount(device);
  scene.fill(place, synced);
  scene.setUp(place);
  scene.fill(place);
  rig.unmount(device);
  return device;
}

// Started, and done with looking for cameras that are there already: there are none.
class IdleWatch : public RunningTool {
 public:
  explicit IdleWatch(const Scene& scene) : RunningTool(scene.command({"watch"})) {
    waitForLine("Scanning camera…");
    waitForLine("Waiting for connection");
  }
};

void expectToEndWell(RunningTool& watch, int signal = SIGINT) {
  watch.send(signal);
  EXPECT_EQ(watch.waitForEnd(), 0) << watch.output() << watch.errors();
}

class WatchFormats : public Watch, public testing::WithParamInterface<LoopVolume::Format> {};

std::string nameOf(LoopVolume::Format format) {
  return format == LoopVolume::Format::ext4 ? "Ext4" : "ExFAT";
}

TEST_P(WatchFormats, syncsACameraTwoSecondsAfterItIsPluggedInAndKnowsItTheNextTime) {
  inVolumeRig([](VolumeRig& rig) {
    const Scene scene;
    const FileURL device = plugInKnownCard(rig, scene, GetParam());
    IdleWatch watch(scene);

    const auto begin = std::chrono::steady_clock::now();
    const FileURL firstPlace = rig.mount(device);
    watch.waitForLine("Scanning camera…");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    watch.waitForLine("Scanning Charmera…");
    watch.waitForLine("17 photos synced");

    VolumeRig::unmountLazily(firstPlace);  // it may still be looking there for a moment
    const FileURL place = rig.mount(device);
    watch.waitForLine("Camera up to date");
    expectToEndWell(watch);
    scene.expectAllDone(place);
  });
}

INSTANTIATE_TEST_SUITE_P(, WatchFormats, testing::Values(LoopVolume::Format::ext4, LoopVolume::Format::exfat),
                         [](const auto& format) { return nameOf(format.param); });

class PulledOut : public Watch, public testing::WithParamInterface<std::tuple<LoopVolume::Format, Moment>> {};

TEST_P(PulledOut, inTheMiddleEndsWithEveryFileOnceWhenTheCameraIsBack) {
  inVolumeRig([](VolumeRig& rig) {
    const auto [format, moment] = GetParam();
    const Scene scene;
    const FileURL device = plugInKnownCard(rig, scene, format);
    IdleWatch watch(scene);

    watch.send(SIGSTOP);  // until the gate is there
    const FileURL place = rig.mount(device);
    auto gate = std::make_unique<OpenGate>(isOnCard(moment) ? place : scene.home.url());
    watch.send(SIGCONT);
    Scene::holdAt(moment, *gate);
    VolumeRig::unmountLazily(place);
    gate.reset();
    watch.waitForLine("Check stopped");

    // The place may be taken when it comes back.
    const FileURL other = rig.plugIn(LoopVolume::Format::ext4, "CAMERA");
    rig.mount(other);
    const FileURL newPlace = rig.mount(device);
    EXPECT_NE(newPlace, place);
    watch.waitForLine(moment == Moment::insideTheLibrarysCommit ? "1 photo synced" : "17 photos synced");
    expectToEndWell(watch);
    scene.expectAllDone(newPlace);
  });
}

INSTANTIATE_TEST_SUITE_P(, PulledOut,
                         testing::Combine(testing::Values(LoopVolume::Format::ext4,
                                                          LoopVolume::Format::exfat),
                                          testing::Values(Moment::fingerprinting, Moment::staging,
                                                          Moment::insideTheLibrarysCommit)),
                         [](const auto& parameters) {
                           return nameOf(std::get<0>(parameters.param)) +
                                  nameOf(std::get<1>(parameters.param));
                         });

TEST_F(Watch, servesACameraThatComesDuringTheSyncOfAnotherOne) {
  inVolumeRig([](VolumeRig& rig) {
    const Scene scene;
    const FileURL first = plugInKnownCard(rig, scene, LoopVolume::Format::ext4);
    const FileURL second = rig.plugIn(LoopVolume::Format::ext4, "SECOND");
    const FileURL secondPlace = rig.mount(second);
    scene.fill(secondPlace, 1);
    EXPECT_EQ(scene.run({"cameras", "add", secondPlace.path()}).status, 0);
    addSmallPhoto(secondPlace, "PICT0900.JPG", 900, 59);
    rig.unmount(second);

    IdleWatch watch(scene);
    watch.send(SIGSTOP);
    const FileURL place = rig.mount(first);
    auto gate = std::make_unique<OpenGate>(place);
    watch.send(SIGCONT);
    Scene::holdAt(Moment::staging, *gate);
    rig.mount(second);
    gate.reset();
    watch.waitForLine("17 photos synced");
    watch.waitForLine("1 photo synced");
    expectToEndWell(watch);
    EXPECT_EQ(scene.home.history().imports.size(), filesOfCard + 1U);
    scene.home.expectToBeTrue();
  });
}

TEST_F(Watch, isNotWokenWhileNothingHappens) {
  inVolumeRig([](VolumeRig& rig) {
    const Scene scene;
    const FileURL device = plugInKnownCard(rig, scene, LoopVolume::Format::ext4);
    rig.mount(device);
    RunningTool watch(scene.command({"watch"}));
    watch.waitForLine("17 photos synced");
    // What it still does after a sync ends in a moment; what it does over and over doesn't.
    constexpr int longestEnding = 20;
    long before = -1;
    long after = watch.voluntarySwitches();
    for (int seconds = 0; before != after && seconds < longestEnding; ++seconds) {
      before = after;
      std::this_thread::sleep_for(std::chrono::seconds(1));
      after = watch.voluntarySwitches();
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_EQ(watch.voluntarySwitches(), after) << "it is woken";
    expectToEndWell(watch);
  });
}

TEST_F(Watch, saysThatTheLibraryCannotBeWrittenAndGoesOnWhenItCan) {
  inVolumeRig([](VolumeRig& rig) {
    const Scene scene;
    const FileURL device = plugInKnownCard(rig, scene, LoopVolume::Format::ext4);
    IdleWatch watch(scene);
    const std::string library = scene.home.libraryFolder().path();
    ASSERT_EQ(mount(library.c_str(), library.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, library.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const FileURL firstPlace = rig.mount(device);
    watch.waitForLine("Photos access needed");
    VolumeRig::unmountLazily(firstPlace);  // it may still be looking there for a moment
    ASSERT_EQ(umount2(library.c_str(), MNT_DETACH), 0);
    const FileURL place = rig.mount(device);
    watch.waitForLine("17 photos synced");
    expectToEndWell(watch);
    scene.expectAllDone(place);
  });
}

TEST_F(Watch, importsNothingWhileTheHistoryIsUnreadable) {
  inVolumeRig([](VolumeRig& rig) {
    const Scene scene;
    const FileURL device = plugInKnownCard(rig, scene, LoopVolume::Format::ext4);
    const std::string history = readFile(scene.home.historyFile());
    const std::string broken = history.substr(0, history.size() / 2);
    writeFile(scene.home.historyFile(), broken);
    const FileURL place = rig.mount(device);
    {
      RunningTool watch(scene.command({"watch"}));
      watch.waitForLine("Scanning Charmera…");
      watch.waitForLine("Sync needs attention");
      EXPECT_TRUE(watch.errors().starts_with(
          "tolvanderctl: Tolvander couldn’t read its import history. Sync is paused to prevent duplicates. "
          "Contact support@tolvander.example for help.\n"))
          << watch.errors();
      expectToEndWell(watch);
    }
    EXPECT_EQ(scene.home.pictures().size(), 1U);
    EXPECT_EQ(readFile(scene.home.historyFile()), broken);

    writeFile(scene.home.historyFile(), history);
    RunningTool watch(scene.command({"watch"}));
    watch.waitForLine("17 photos synced");
    expectToEndWell(watch);
    scene.expectAllDone(place);
  });
}

TEST_F(Watch, saysThatTheDiskIsFullAndGoesOnWhenItHasRoom) {
  inVolumeRig([](VolumeRig& rig) {
    const Scene scene("8m");
    const FileURL device = plugInKnownCard(rig, scene, LoopVolume::Format::ext4);
    IdleWatch watch(scene);
    const FileURL ballast = scene.leaveRoom(32'768);
    const FileURL firstPlace = rig.mount(device);
    watch.waitForLine("Sync needs attention");
    EXPECT_NE(watch.errors().find("tolvanderctl: "), std::string::npos);
    VolumeRig::unmountLazily(firstPlace);  // it may still be looking there for a moment
    fs::remove(ballast.path());
    const FileURL place = rig.mount(device);
    watch.waitForLine("17 photos synced");
    expectToEndWell(watch);
    scene.expectAllDone(place);
  });
}

TEST_F(Watch, keepsOthersOutDuringASyncAndStopsItWhenItIsTold) {
  inVolumeRig([](VolumeRig& rig) {
    const Scene scene;
    const FileURL device = plugInKnownCard(rig, scene, LoopVolume::Format::ext4);
    IdleWatch watch(scene);
    watch.send(SIGSTOP);
    const FileURL place = rig.mount(device);
    auto gate = std::make_unique<OpenGate>(place);
    watch.send(SIGCONT);
    Scene::holdAt(Moment::staging, *gate);

    const ToolResult second = scene.run({"sync", place.path()});
    EXPECT_EQ(second.status, 1) << second.output;
    EXPECT_NE(second.errors.find("(process " + std::to_string(watch.process()) + ")"), std::string::npos)
        << second.errors;

    watch.send(SIGTERM);
    watch.waitForLine("Finishing the current import before stopping…");
    gate.reset();
    watch.waitForLine("Check stopped");
    EXPECT_EQ(watch.waitForEnd(), 0);
    EXPECT_EQ(scene.home.pictures().size(), 1U);
    EXPECT_EQ(scene.run({"sync"}).status, 0);
    scene.expectAllDone(place);
  });
}

// MARK: Without drives

// A folder of files in place of a drive.
class Interrupted : public testing::TestWithParam<Moment> {
 protected:
  void SetUp() override {
    for (const auto& reason : {reasonAgainstPrivateMounts(), OpenGate::reasonAgainst()}) {
      if (reason) {
        GTEST_SKIP() << *reason;
      }
    }
  }

  // The card is a separate file system, so that a gate can be put before it.
  static FileURL makeCard(const Scene& scene) {
    const FileURL card = scene.folder / "CARD";
    fs::create_directory(card.path());
    Scene::mountMemory(card, "8m");
    scene.fill(card);
    return card;
  }

  static std::unique_ptr<OpenGate> gateFor(const Scene& scene, const FileURL& card) {
    return std::make_unique<OpenGate>(isOnCard(GetParam()) ? card : scene.home.url());
  }
};

TEST_P(Interrupted, byCtrlCStopsAtTheNextSafePointAndLosesNothing) {
  inPrivateMountNamespace([] {
    const Scene scene;
    const FileURL card = makeCard(scene);
    auto gate = gateFor(scene, card);
    RunningTool sync(scene.command({"sync", "--yes", card.path()}));
    Scene::holdAt(GetParam(), *gate);
    sync.send(SIGINT);
    sync.waitForLine("Finishing the current import before stopping…");
    gate.reset();
    sync.waitForLine("Check stopped");
    EXPECT_EQ(sync.waitForEnd(), 130);
    EXPECT_EQ(sync.errors(), "Stopping at the next safe point. Press Ctrl-C again to end at once.\n");
    scene.home.expectToBeTrue();
    EXPECT_TRUE(scene.home.history().pendingImports.empty());
    EXPECT_EQ(scene.home.pictures().size(), isOnCard(GetParam()) ? 0U : 4U) << "whole batches only";
    EXPECT_EQ(scene.run({"sync", card.path()}).status, 0);
    scene.expectAllDone(card);
  });
}

TEST_P(Interrupted, byADeathLosesAndDoublesNothing) {
  inPrivateMountNamespace([] {
    const Scene scene;
    const FileURL card = makeCard(scene);
    auto gate = gateFor(scene, card);
    RunningTool sync(scene.command({"sync", "--yes", card.path()}));
    Scene::holdAt(GetParam(), *gate);
    sync.send(SIGKILL);
    gate.reset();
    EXPECT_EQ(sync.waitForEnd(), -1);

    const bool wasMarked = !isOnCard(GetParam());
    EXPECT_EQ(scene.home.history().pendingImports.size(), wasMarked ? 4U : 0U);
    const ToolResult again = scene.run({"sync", "--yes", card.path()});
    EXPECT_EQ(again.status, 0) << again.output << again.errors;
    scene.expectAllDone(card);
  });
}

TEST(FullDisk, losesAndDoublesNothingHoweverLittleRoomThereIs) {
  for (const auto& reason : {reasonAgainstPrivateMounts(), OpenGate::reasonAgainst()}) {
    if (reason) {
      GTEST_SKIP() << *reason;
    }
  }
  inPrivateMountNamespace([] {
    constexpr std::uintmax_t step = 24 << 10U;
    std::size_t failures = 0;
    int status = -1;
    for (std::uintmax_t room = 0; status != 0 && room < 100 * step; room += step) {
      const Scene scene("8m");
      const FileURL card = scene.folder / "CARD";
      scene.fill(card, 1);
      scene.setUp(card);
      scene.fill(card);
      const FileURL ballast = scene.leaveRoom(room);
      status = scene.run({"sync", card.path()}).status;
      fs::remove(ballast.path());
      failures += status == 0 ? 0 : 1;

      const ToolResult again = scene.run({"sync", card.path()});
      EXPECT_EQ(again.status, 0) << again.output << again.errors;
      scene.expectAllDone(card);
    }
    EXPECT_EQ(status, 0);
    EXPECT_GT(failures, 3U);
  });
}

INSTANTIATE_TEST_SUITE_P(, Interrupted,
                         testing::Values(Moment::fingerprinting, Moment::staging,
                                         Moment::insideTheLibrarysCommit, Moment::betweenCommitAndRecord),
                         [](const auto& moment) { return nameOf(moment.param); });

}  // namespace
}  // namespace tolvander::tests
