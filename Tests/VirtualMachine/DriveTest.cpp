#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/Mounts/MountTable.h"
#include "Platform/Linux/System/EventLoop.h"
#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "Platform/Linux/Volumes/UDisksEjector.h"
#include "Samples/Bytes.h"
#include "Tests/Support/Application/SyncedHome.h"
#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Fixtures/SmallCard.h"
#include "Tests/Support/Machine/OpenGate.h"
#include "Tests/Support/Machine/RunningTool.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "Tests/VirtualMachine/ExFATEntry.h"
#include "Tests/VirtualMachine/Stick.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Platform/Volume.h"

// What a real kernel's FAT and a real USB stick do. Runs in the virtual machine of `./dev test-vm` only.
namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

using platform::linux_::EventLoop;
using platform::linux_::LinuxVolumes;
using platform::linux_::Mount;
using platform::linux_::MountTable;
using platform::linux_::UDisksEjector;

using Format = Stick::Format;
using Strings = std::vector<std::string>;

class Drive : public testing::TestWithParam<Format> {
 protected:
  Drive() : stick(GetParam()) { setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1); }

  static bool isVfat() { return GetParam() == Format::vfat; }

  Strings command(Strings arguments) const {
    arguments.insert(arguments.begin(), {TOLVANDERCTL, "--home", home.url().path()});
    return arguments;
  }
  ToolResult run(Strings arguments) const { return runTool(command(std::move(arguments))); }
  void expectDone(Strings arguments, std::string_view words) const {
    const ToolResult result = run(std::move(arguments));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.output.find(words), std::string::npos) << result.output << result.errors;
  }

  // Pictures of different content on the card, and the same in a folder of the machine's.
  Strings fill(const FileURL& place, unsigned count) const {
    Strings names;
    makeSmallCard(place);
    makeSmallCard(copies);
    for (unsigned number = 1; number <= count; ++number) {
      names.push_back((number < 10 ? "PICT000" : "PICT00") + std::to_string(number) + ".JPG");
      addSmallPhoto(place, names.back(), number, number);
      addSmallPhoto(copies, names.back(), number, number);
    }
    sync();
    return names;
  }

  std::vector<FileURL> copiesOf(const Strings& names) const {
    std::vector<FileURL> urls;
    std::ranges::transform(names, std::back_inserter(urls),
                           [this](const std::string& name) { return onSmallCard(copies, name); });
    return urls;
  }

  Stick stick;
  TemporaryFolder folder;
  const FileURL copies = folder / "copies";
  const SyncedHome home = SyncedHome(folder / "home");
};

TEST_P(Drive, isRecognisedAndKeepsItsIdentity) {
  FileURL place = stick.mount();
  fill(place, 2);
  std::optional<std::string> uuid;
  for (int time = 0; time < 2; ++time) {
    const auto device = MountedVolumeMediaSource().detect(place, DeviceProfile::builtIns());
    ASSERT_TRUE(device);
    EXPECT_EQ(device->profile, DeviceProfile::charmera());
    EXPECT_EQ(device->displayName, "CHARMERA");
    EXPECT_EQ(device->files.size(), 2U);

    EventLoop loop;
    const LinuxVolumes volumes(loop);
    const auto mounted = volumes.mountedVolumes();
    const auto volume = std::ranges::find(mounted, place, &app::MountedVolume::url);
    ASSERT_NE(volume, mounted.end());
    EXPECT_EQ(volume->values->isInternal, false);
    EXPECT_EQ(volume->values->isRemovable, true);
    EXPECT_EQ(volume->values->name, "CHARMERA");
    ASSERT_TRUE(volume->values->uuid);
    EXPECT_EQ(uuid.value_or(*volume->values->uuid), *volume->values->uuid);
    uuid = volume->values->uuid;

    stick.unmount();
    stick.pullOut();
    stick.plugIn();
    place = stick.mount();
  }
}

// MARK: Dates

constexpr std::int64_t noon = 1'780'315'200;  // 2026-06-01T12:00:00Z

void setNoon(const FileURL& file) {
  const timespec times[2] = {{.tv_sec = noon, .tv_nsec = 0}, {.tv_sec = noon, .tv_nsec = 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.path().c_str(), times, 0), 0);
}

class KernelZone {
 public:
  explicit KernelZone(std::chrono::minutes aheadOfUTC) { set(aheadOfUTC); }
  ~KernelZone() { set(std::chrono::minutes(0)); }
  KernelZone(const KernelZone&) = delete;
  KernelZone& operator=(const KernelZone&) = delete;

 private:
  // The first call of all also sets the clock, which the machine's tests don't mind.
  static void set(std::chrono::minutes aheadOfUTC) {
    const struct timezone zone { .tz_minuteswest = static_cast<int>(-aheadOfUTC.count()), .tz_dsttime = 0 };
    EXPECT_EQ(syscall(SYS_settimeofday, nullptr, &zone), 0);
  }
};

std::string optionsOf(const FileURL& place) {
  const MountTable table = MountTable::read();
  const auto mount = std::ranges::find(table.mounts(), place, &Mount::place);
  return mount != table.mounts().end() ? mount->superOptions : "not mounted";
}

// A way of mounting, and the instant that the driver then makes of a clock that shows noon.
struct Mounting {
  std::string options;
  std::string shown;  // what the kernel shows of it, if anything
  std::chrono::minutes kernelZone{0};
  std::int64_t noonBecomes = noon;
};

std::vector<Mounting> mountingsOf(Format format) {
  using std::chrono::minutes;
  std::vector<Mounting> mountings = {
      {.options = "", .shown = ""},
      {.options = "time_offset=120", .shown = "time_offset=120", .noonBecomes = noon - 7'200},
      {.options = "time_offset=-570", .shown = "time_offset=-570", .noonBecomes = noon + 34'200}};
  if (format == Format::vfat) {
    mountings.push_back({.options = "tz=UTC", .shown = "tz=UTC", .kernelZone = minutes(120)});
    mountings.push_back(
        {.options = "", .shown = "", .kernelZone = minutes(120), .noonBecomes = noon - 7'200});
  } else {
    mountings.push_back({.options = "", .shown = "", .kernelZone = minutes(120)});
    mountings.push_back(
        {.options = "sys_tz", .shown = "sys_tz", .kernelZone = minutes(-300), .noonBecomes = noon + 18'000});
  }
  return mountings;
}

void expectNoonInThreeZones(const FileURL& file) {
  for (const auto& [zone, instant] : {std::pair("Europe/Berlin", "2026-06-01T10:00:00Z"),
                                      std::pair("America/New_York", "2026-06-01T16:00:00Z"),
                                      std::pair("Australia/Lord_Howe", "2026-06-01T01:30:00Z")}) {
    const auto date = cameraFileResourceValues(file, *TimeZone::named(zone)).contentModificationDate;
    ASSERT_TRUE(date);
    EXPECT_EQ(iso8601Text(*date), instant) << zone;
  }
}

TEST_P(Drive, hasTheDatesOfTheCamerasClockHoweverItIsMounted) {
  FileURL place = stick.mount(isVfat() ? "tz=UTC" : "");
  const Strings names = fill(place, 1);
  setNoon(onSmallCard(place, names[0]));
  stick.unmount();
  if (!isVfat()) {
    clearOwnOffsets(stick.device(), names[0]);  // as a camera without zones writes the entry
  }
  for (const Mounting& mounting : mountingsOf(GetParam())) {
    const KernelZone kernelZone(mounting.kernelZone);
    place = stick.mount(mounting.options);
    const FileURL file = onSmallCard(place, names[0]);
    std::printf("  %s with \"%s\", kernel at %ld min: \"%s\"\n", nameOf(GetParam()).c_str(),
                mounting.options.c_str(), mounting.kernelZone.count(), optionsOf(place).c_str());
    EXPECT_NE(optionsOf(place).find(mounting.shown), std::string::npos);
    EXPECT_EQ(fileResourceValues(file).contentModificationDate, dateSince1970(mounting.noonBecomes));
    expectNoonInThreeZones(file);
    stick.unmount();
  }
}

TEST_P(Drive, hasTheCamerasDatesFromEveryRoadOfTheProgram) {
  setenv("TZ", "America/New_York", 1);
  const FileURL place = stick.mount();
  makeSmallCard(place);
  addSmallVideo(place, "PICT0001.AVI", 1);
  const FileURL video = onSmallCard(place, "PICT0001.AVI");
  setNoon(video);
  stick.unmount();
  if (!isVfat()) {
    clearOwnOffsets(stick.device(), "PICT0001.AVI");
  }
  EXPECT_EQ(stick.mount(), place);
  expectDone({"scan", place.path()}, "2026-06-01T16:00:00Z");
  expectDone({"plan", video.path()}, "2026:06:01 12:00:00");
  expectDone({"rewrap", video.path(), (folder / "movie.mov").path()}, "2026-06-01T16:00:00Z");
  expectDone({"sync", "--yes", place.path()}, "1 video synced");
  expectDone({"library", "assets"}, "2026-06-01T16:00:00Z");
  unsetenv("TZ");
}

// Nothing that a mount shows tells such an entry from others.
TEST_P(Drive, takesADateWithAnOffsetOfItsOwnForTheClocksReading) {
  if (isVfat()) {
    return;  // has no such entries
  }
  FileURL place = stick.mount("");
  const Strings names = fill(place, 1);
  setNoon(onSmallCard(place, names[0]));  // which the kernel writes with an offset of 0
  stick.unmount();
  for (const std::string options : {"", "time_offset=120"}) {
    place = stick.mount(options);
    EXPECT_EQ(fileResourceValues(onSmallCard(place, names[0])).contentModificationDate, dateSince1970(noon));
    stick.unmount();
  }
  place = stick.mount("");
  expectNoonInThreeZones(onSmallCard(place, names[0]));
}

// MARK: Files

TEST_P(Drive, hidesWhatHasTheHiddenAttribute) {
  const FileURL place = stick.mount("");
  const Strings names = fill(place, 3);
  fs::create_directory(place.appending("DCIM/HIDDEN").path());
  writeFile(place.appending("DCIM/HIDDEN/PICT0009.JPG"), "x");
  for (const FileURL& hidden : {onSmallCard(place, names[1]), place.appending("DCIM/HIDDEN")}) {
    const OwnedDescriptor entry(open(hidden.path().c_str(), O_RDONLY | O_CLOEXEC));
    std::uint32_t attributes = 0;
    if (ioctl(entry.number(), FAT_IOCTL_GET_ATTRIBUTES, &attributes) != 0) {
      ASSERT_FALSE(isVfat());
      std::printf("  this kernel's exfat doesn't tell attributes\n");
      return;
    }
    attributes |= ATTR_HIDDEN;
    ASSERT_EQ(ioctl(entry.number(), FAT_IOCTL_SET_ATTRIBUTES, &attributes), 0);
  }
  Strings found;
  for (const CameraMediaFile& file : MountedVolumeMediaSource::mediaFiles(place, DeviceProfile::charmera())) {
    found.push_back(file.filename);
  }
  EXPECT_EQ(found, (Strings{names[0], names[2]}));
}

TEST_P(Drive, renamesWithoutReplacing) {
  const FileURL place = stick.mount("");
  const auto rename = [&](const std::string& from, const std::string& to) {
    return renameat2(AT_FDCWD, place.appending(from).path().c_str(), AT_FDCWD,
                     place.appending(to).path().c_str(), RENAME_NOREPLACE) == 0
               ? 0
               : errno;
  };
  writeFile(place.appending("one"), "1");
  writeFile(place.appending("two"), "2");
  EXPECT_EQ(rename("one", "two"), EEXIST);
  EXPECT_EQ(rename("one", "three"), 0);
  EXPECT_EQ(readFile(place.appending("two")), "2");
  EXPECT_EQ(readFile(place.appending("three")), "1");
}

TEST_P(Drive, takesFilesIntoItsTrashAndGivesThemBackAfterARemount) {
  FileURL place = stick.mount();
  const Strings names = fill(place, 5);
  expectDone({"sync", "--yes", "--trash", "yes", place.path()}, "5 photos synced");
  EXPECT_EQ(namesIn(place.appending("DCIM/100CHRM")), Strings());

  stick.unmount();
  stick.pullOut();
  stick.plugIn();
  place = stick.mount();
  expectDone({"trash", "list"}, "“CHARMERA”: 5 files in the Trash\n");
  expectDone({"trash", "restore", "--yes"}, "5 files restored to the camera\n");
  EXPECT_EQ(namesIn(place.appending("DCIM/100CHRM")), names);
  for (const std::string& name : names) {
    EXPECT_TRUE(readFile(onSmallCard(place, name)) == readFile(onSmallCard(copies, name))) << name;
  }
  home.expectEachOnce(copiesOf(names));
}

// MARK: Pulling it out

TEST_P(Drive, isNoticedByTheWatchWhenItIsPluggedIn) {
  const FileURL place = stick.mount();
  fill(place, 1);
  expectDone({"sync", "--yes", place.path()}, "1 photo synced");
  const Strings names = fill(place, 3);
  stick.unmount();
  RunningTool watch(command({"watch"}));
  watch.waitForLine("Waiting for connection");
  stick.pullOut();
  stick.plugIn();
  stick.mount();
  watch.waitForLine("2 photos synced");
  home.expectEachOnce(copiesOf(names));
}

// The program opens each file when it lists it, fingerprints it and stages it.
TEST_P(Drive, pulledOutWhileItIsReadLosesNothingAndDoublesNothing) {
  FileURL place = stick.mount();
  const Strings names = fill(place, 12);
  for (const int opening : {2, 3}) {
    RunningTool sync(command({"sync", "--yes", place.path()}));
    {
      OpenGate gate(place);
      for (int count = 0; count < opening; ++count) {
        gate.holdNext([&](const FileURL& file) { return file.lastPathComponent() == names[10]; });
      }
      writeFile(FileURL("/proc/sys/vm/drop_caches"), "3");  // or it reads on from memory
      stick.pullOut();
    }
    EXPECT_NE(sync.waitForEnd(), -1) << sync.errors();
    std::printf("  pulled out at opening %d, the sync ended with: %s", opening, sync.errors().c_str());
    home.expectToBeTrue();
    stick.unmount();
    stick.plugIn();
    place = stick.mount();
  }
  const ToolResult again = run({"sync", "--yes", place.path()});
  EXPECT_EQ(again.status, 0) << again.output << again.errors;
  home.expectEachOnce(copiesOf(names));
}

TEST_P(Drive, pulledOutWhileItIsWrittenLosesNoPicture) {
  FileURL place = stick.mount();
  const Strings names = fill(place, 8);
  RunningTool sync(command({"sync", "--yes", "--trash", "yes", place.path()}));
  {
    OpenGate gate(place);
    gate.holdNext([&](const FileURL& file) { return file.lastPathComponent() == names[5] + ".trashinfo"; });
    stick.pullOut();
  }
  EXPECT_NE(sync.waitForEnd(), -1) << sync.errors();
  std::printf("  pulled out while files went to the Trash, the sync ended with: %s", sync.errors().c_str());
  stick.unmount();
  stick.plugIn();
  place = stick.mount();
  home.expectEachOnce(copiesOf(names));
  for (const std::string& name : names) {
    const FileURL onCard = onSmallCard(place, name);
    const FileURL inTrash = place.appending(".Trash-0/files/" + name);
    EXPECT_NE(fs::exists(onCard.path()), fs::exists(inTrash.path())) << name;
    const FileURL& file = fs::exists(onCard.path()) ? onCard : inTrash;
    EXPECT_TRUE(readFile(file) == readFile(onSmallCard(copies, name)))
        << file.path() << " has " << fs::file_size(file.path()) << " bytes";
  }
  const ToolResult restored = run({"trash", "restore", "--yes"});
  std::printf("  trash restore said: %s%s", restored.output.c_str(), restored.errors.c_str());
  EXPECT_EQ(namesIn(place.appending("DCIM/100CHRM")), names);
}

// MARK: Letting it go

class EjectedDrive : public testing::TestWithParam<Format> {
 protected:
  // Expects that nothing of it is mounted any more.
  static void eject(const Stick& stick) {
    const FileURL place = stick.mount();
    writeFile(place.appending("file"), "content");
    EventLoop loop;
    const LinuxVolumes volumes(loop);
    UDisksEjector(volumes).unmountAndEject(place);
    EXPECT_FALSE(fs::exists(place.path()));
  }
};

TEST_P(EjectedDrive, putsARemovableMediumOut) {
  const Stick stick(GetParam(), Stick::Medium::removable);
  eject(stick);
  EXPECT_FALSE(stick.hasMedium());
}

TEST_P(EjectedDrive, isSwitchedOffWhereItsMediumIsFixed) {
  const Stick stick(GetParam(), Stick::Medium::fixed);
  eject(stick);
  EXPECT_FALSE(stick.isPluggedIn());
}

TEST_P(EjectedDrive, isSwitchedOffWhereTheSystemHasNoProgramToEjectIt) {
  const Stick stick(GetParam(), Stick::Medium::removable);
  fs::rename("/usr/bin/eject", "/usr/bin/eject.not");
  eject(stick);
  fs::rename("/usr/bin/eject.not", "/usr/bin/eject");
  EXPECT_FALSE(stick.isPluggedIn());
}

INSTANTIATE_TEST_SUITE_P(, EjectedDrive, testing::Values(Format::vfat, Format::exfat),
                         [](const auto& format) { return nameOf(format.param); });
INSTANTIATE_TEST_SUITE_P(, Drive, testing::Values(Format::vfat, Format::exfat),
                         [](const auto& format) { return nameOf(format.param); });

}  // namespace
}  // namespace tolvander::tests
