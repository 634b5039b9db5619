#include "Platform/Linux/Files/FATClock.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <optional>
#include <string>
#include <string_view>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"

namespace tolvander::platform::linux_ {
namespace {

using namespace tests;
using std::chrono::minutes;

constexpr minutes anHourAhead(60);

std::optional<minutes> offsetFor(std::string_view fileSystem, std::string_view superOptions,
                                 minutes kernelZone = anHourAhead) {
  const MountTable table =
      MountTable::parse("120 28 8:17 / /media/CARD rw,nosuid - " + std::string(fileSystem) + " /dev/sdb1 " +
                        std::string(superOptions) + "\n");
  return fatClockOffset(table.mounts().at(0), kernelZone);
}

std::string dateOf(std::string_view instant, minutes clockOffset, std::string_view zone) {
  const auto date = dateOfFATClock(*dateFromISO8601(instant), clockOffset, *TimeZone::named(zone));
  return date ? iso8601Text(*date) : "absent";
}

// The options as Linux 6.1 shows them.
TEST(FATClock, isWhatTheMountSays) {
  constexpr std::string_view options =
      "rw,fmask=0022,dmask=0022,codepage=437,iocharset=ascii,shortname=mixed,utf8,errors=remount-ro";
  const std::string vfat(options);
  EXPECT_EQ(offsetFor("vfat", vfat + ",tz=UTC"), minutes(0));
  EXPECT_EQ(offsetFor("vfat", vfat + ",time_offset=120"), minutes(120));
  EXPECT_EQ(offsetFor("vfat", "rw,time_offset=-570,utf8"), minutes(-570));
  EXPECT_EQ(offsetFor("msdos", "rw,time_offset=-570"), minutes(-570));
  EXPECT_EQ(offsetFor("exfat", "rw,iocharset=utf8,time_offset=-90,errors=remount-ro"), minutes(-90));
}

TEST(FATClock, isTheKernelsWhereVfatSaysNothing) {
  EXPECT_EQ(offsetFor("vfat", "rw,utf8"), anHourAhead);
  EXPECT_EQ(offsetFor("msdos", "rw"), anHourAhead);
  EXPECT_EQ(offsetFor("vfat", "rw,utf8", minutes(0)), minutes(0));
}

TEST(FATClock, isUTCWhereExfatSaysNothing) {
  EXPECT_EQ(offsetFor("exfat", "rw,iocharset=utf8"), minutes(0));
  EXPECT_EQ(offsetFor("exfat", "rw,sys_tz"), anHourAhead);
}

TEST(FATClock, readsWholeOptionsOnly) {
  EXPECT_EQ(offsetFor("vfat", "rw,xtz=UTC,my_time_offset=30,tz=UTCX,time_offset=x,time_offset"), anHourAhead);
  EXPECT_EQ(offsetFor("exfat", "rw,no_sys_tz"), minutes(0));
  EXPECT_EQ(offsetFor("vfat", ",,tz=UTC,"), minutes(0));
}

TEST(FATClock, isAbsentForEveryOtherFileSystem) {
  for (const std::string_view fileSystem :
       {"ext4", "btrfs", "ntfs3", "tmpfs", "fuse", "fuseblk", "fuse.exfat-fuse", "fuse.fusefat", "9p"}) {
    EXPECT_EQ(offsetFor(fileSystem, "rw,tz=UTC,time_offset=60"), std::nullopt) << fileSystem;
  }
}

TEST(FATClock, isReadInTheZoneWhateverTheDriverMadeOfIt) {
  // A camera's clock shows 12:00 on the first of June, or of December.
  EXPECT_EQ(dateOf("2026-06-01T12:00:00Z", minutes(0), "Europe/Berlin"), "2026-06-01T10:00:00Z");
  EXPECT_EQ(dateOf("2026-06-01T10:00:00Z", minutes(120), "Europe/Berlin"), "2026-06-01T10:00:00Z");
  EXPECT_EQ(dateOf("2026-12-01T10:00:00Z", minutes(120), "Europe/Berlin"), "2026-12-01T11:00:00Z");
  EXPECT_EQ(dateOf("2026-06-01T12:00:00Z", minutes(0), "America/New_York"), "2026-06-01T16:00:00Z");
  EXPECT_EQ(dateOf("2026-06-01T21:30:00Z", minutes(-570), "Asia/Kathmandu"), "2026-06-01T06:15:00Z");
  EXPECT_EQ(dateOf("2026-06-01T12:00:00Z", minutes(0), "UTC"), "2026-06-01T12:00:00Z");
}

TEST(FATClock, isReadNearAChangeOfTheClocksAsEveryOtherWallClock) {
  EXPECT_EQ(dateOf("2026-03-29T02:30:00Z", minutes(0), "Europe/Berlin"), "2026-03-29T01:30:00Z");
  EXPECT_EQ(dateOf("2026-10-25T02:30:00Z", minutes(0), "Europe/Berlin"), "2026-10-25T00:30:00Z");
}

TEST(FATClock, keepsFractionsOfASecond) {
  const Date instant = *dateSince1970(1'780'315'200, 990'000'000);  // 2026-06-01T12:00:00.99Z
  EXPECT_EQ(dateOfFATClock(instant, minutes(0), *TimeZone::named("Europe/Berlin")),
            dateSince1970(1'780'315'200 - 7'200, 990'000'000));
}

TEST(FATClock, isAbsentBeyondTheReachOfADate) {
  EXPECT_EQ(dateOfFATClock(Date::max(), minutes(0), *TimeZone::named("America/New_York")), std::nullopt);
}

TEST(FATClocks, knowTheFATsOfTheMountTableByTheirDevice) {
  const TemporaryFolder folder;
  writeFile(folder / "mountinfo",
            "28 1 259:2 / / rw - ext4 /dev/nvme0n1p2 rw\n"
            "90 28 259:1 / /boot/efi rw - vfat /dev/nvme0n1p1 rw,tz=UTC\n"
            "120 28 8:17 / /media/me/EOS_DIGITAL rw - exfat /dev/sdb1 rw,time_offset=60\n"
            "121 28 8:17 /DCIM /srv/pictures rw - exfat /dev/sdb1 rw,time_offset=60\n");
  FATClocks clocks(folder / "mountinfo");
  EXPECT_EQ(clocks.offsetOf(makedev(259, 1)), minutes(0));
  EXPECT_EQ(clocks.offsetOf(makedev(8, 17)), minutes(60));
  EXPECT_EQ(clocks.offsetOf(makedev(259, 2)), std::nullopt);
  EXPECT_EQ(clocks.offsetOf(makedev(8, 33)), std::nullopt);
}

TEST(FATClocks, lookAgainForATableThatCouldNotBeRead) {
  const TemporaryFolder folder;
  FATClocks clocks(folder / "mountinfo");
  EXPECT_EQ(clocks.offsetOf(makedev(8, 17)), std::nullopt);
  writeFile(folder / "mountinfo", "120 28 8:17 / /media/CARD rw - vfat /dev/sdb1 rw,tz=UTC\n");
  EXPECT_EQ(clocks.offsetOf(makedev(8, 17)), minutes(0));
}

}  // namespace
}  // namespace tolvander::platform::linux_
