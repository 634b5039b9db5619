#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mount.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Linux/System/EventLoop.h"
#include "Platform/Linux/Volumes/LinuxVolumes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/VolumeRig.h"
#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::tests {
namespace {

using app::CameraVolumeDiscovery;
using platform::linux_::DescriptorWatcher;
using platform::linux_::EventLoop;
using platform::linux_::LinuxVolumes;
using Strings = std::vector<std::string>;

// Waits for one descriptor, in rounds.
class OneDescriptor final : public DescriptorWatcher {
 public:
  app::Subscription watch(int descriptor, std::uint32_t events,
                          std::function<void(std::uint32_t)> function) override {
    poll_ = {.fd = descriptor, .events = static_cast<short>(events), .revents = 0};
    function_ = std::move(function);
    return app::Subscription([this] { poll_.fd = -1; });
  }

  // Whether there was an event within the time.
  bool runOnce(std::chrono::milliseconds longest) {
    if (poll(&poll_, 1, static_cast<int>(longest.count())) <= 0) {
      return false;
    }
    function_(static_cast<std::uint32_t>(poll_.revents));
    return true;
  }

 private:
  pollfd poll_{.fd = -1, .events = 0, .revents = 0};
  std::function<void(std::uint32_t)> function_;
};

class MountEvents : public testing::TestWithParam<LoopVolume::Format> {
 protected:
  void SetUp() override {
    if (const auto reason = reasonAgainstVolumeRig()) {
      GTEST_SKIP() << *reason;
    }
  }
};

// What an observer of the mounts is told.
class Told {
 public:
  Strings events;

  // Waits until `count` have been told, and no more are on their way.
  Strings after(std::size_t count) {
    constexpr std::chrono::seconds longest(60);
    while (events.size() < count && loop_.runOnce(longest)) {
    }
    while (loop_.runOnce(std::chrono::milliseconds(0))) {
    }
    return std::exchange(events, {});
  }

  LinuxVolumes volumes() { return LinuxVolumes(loop_); }

 private:
  OneDescriptor loop_;
};

app::Subscription observe(LinuxVolumes& volumes, Strings& events) {
  return volumes.observeMounts([&](const FileURL& url) { events.push_back("mounted " + url.path()); },
                               [&](const FileURL& url) { events.push_back("unmounted " + url.path()); });
}

TEST_P(MountEvents, tellOfAVolumeThatComesAndGoes) {
  inVolumeRig([](VolumeRig& rig) {
    Told told;
    LinuxVolumes volumes = told.volumes();
    const auto subscription = observe(volumes, told.events);
    const FileURL card = rig.plugIn(GetParam(), "MY CARD");
    const FileURL place = rig.mount(card);
    EXPECT_EQ(place.lastPathComponent(), "MY CARD");
    EXPECT_EQ(told.after(1), Strings{"mounted " + place.path()});
    EXPECT_TRUE(CameraVolumeDiscovery::isStillMounted(place, volumes));

    rig.unmount(card);
    EXPECT_EQ(told.after(1), Strings{"unmounted " + place.path()});
    EXPECT_FALSE(CameraVolumeDiscovery::isStillMounted(place, volumes));
  });
}

TEST_P(MountEvents, tellOfAVolumeThatIsPulledOutWhileAFileIsOpen) {
  inVolumeRig([](VolumeRig& rig) {
    Told told;
    LinuxVolumes volumes = told.volumes();
    const FileURL card = rig.plugIn(GetParam(), "CARD");
    const FileURL place = rig.mount(card);
    writeFile(place.appending("file"), "content");
    const auto subscription = observe(volumes, told.events);
    {
      const std::ifstream file(place.appending("file").path());
      rig.unmountLazily(place);
      EXPECT_EQ(told.after(1), Strings{"unmounted " + place.path()});
    }
    rig.unplug(card);
    EXPECT_EQ(told.after(0), Strings{});
  });
}

TEST_P(MountEvents, tellOfEachOfTwoVolumes) {
  inVolumeRig([](VolumeRig& rig) {
    Told told;
    LinuxVolumes volumes = told.volumes();
    const auto subscription = observe(volumes, told.events);
    const FileURL first = rig.plugIn(GetParam(), "CARD");
    const FileURL second = rig.plugIn(GetParam(), "CARD");
    const FileURL firstPlace = rig.mount(first);
    const FileURL secondPlace = rig.mount(second);
    EXPECT_NE(firstPlace, secondPlace);
    EXPECT_EQ(told.after(2), (Strings{"mounted " + firstPlace.path(), "mounted " + secondPlace.path()}));
    EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes), (std::vector{firstPlace, secondPlace}));
    rig.unplug(first);
    EXPECT_EQ(told.after(1), Strings{"unmounted " + firstPlace.path()});
    EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes), std::vector{secondPlace});
  });
}

TEST_P(MountEvents, comeWithTheValuesOfTheVolume) {
  inVolumeRig([](VolumeRig& rig) {
    Told told;
    const LinuxVolumes volumes = told.volumes();
    const FileURL place = rig.mount(rig.plugIn(GetParam(), "MY CARD"));
    for (const app::MountedVolume& volume : volumes.mountedVolumes()) {
      if (volume.url == place) {
        ASSERT_TRUE(volume.values);
        EXPECT_EQ(volume.values->isInternal, false);
        EXPECT_EQ(volume.values->isLocal, true);
        EXPECT_EQ(volume.values->isRemovable, true);
        EXPECT_EQ(volume.values->name, "MY CARD");
        EXPECT_EQ(volume.values->name, volumeResourceValues(place).name);
        EXPECT_TRUE(volume.values->uuid);
        EXPECT_EQ(volume.values->uuid, volumeResourceValues(place).uuid);
        return;
      }
    }
    ADD_FAILURE() << "not listed";
  });
}

TEST_P(MountEvents, areNotCausedByWhatIsNoVolume) {
  inVolumeRig([](VolumeRig& rig) {
    Told told;
    LinuxVolumes volumes = told.volumes();
    const FileURL place = rig.mount(rig.plugIn(GetParam(), "CARD"));
    std::filesystem::create_directory(place.appending("DCIM").path());
    const TemporaryFolder folder;
    const auto subscription = observe(volumes, told.events);
    ASSERT_EQ(mount("tmpfs", folder.url().path().c_str(), "tmpfs", 0, ""), 0);
    ASSERT_EQ(
        mount(place.appending("DCIM").path().c_str(), folder.url().path().c_str(), nullptr, MS_BIND, nullptr),
        0);
    ASSERT_EQ(mount(place.path().c_str(), folder.url().path().c_str(), nullptr, MS_BIND, nullptr), 0);
    EXPECT_EQ(told.after(0), Strings{});
    for (int mounts = 0; mounts < 3; ++mounts) {
      umount2(folder.url().path().c_str(), MNT_DETACH);
    }
    EXPECT_EQ(told.after(0), Strings{});
  });
}

TEST_P(MountEvents, wakeASleepingLoopAndNothingElseDoes) {
  inVolumeRig([](VolumeRig& rig) {
    const FileURL card = rig.plugIn(GetParam(), "CARD");
    EventLoop loop;
    LinuxVolumes volumes(loop);
    Strings events;
    const auto subscription = volumes.observeMounts(
        [&](const FileURL& url) {
          events.push_back("mounted " + url.path());
          loop.stop();
        },
        [](const FileURL&) {});
    const FileURL place = rig.mount(card);
    const auto deadline = loop.postAfter(std::chrono::seconds(60), [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(events, Strings{"mounted " + place.path()});
    EXPECT_LE(loop.wakeUpCount(), 3U) << "the event, the stop, and one that is to spare";
  });
}

TEST_P(MountEvents, endWithTheirSubscription) {
  inVolumeRig([](VolumeRig& rig) {
    Told told;
    LinuxVolumes volumes = told.volumes();
    auto subscription = observe(volumes, told.events);
    const FileURL card = rig.plugIn(GetParam(), "CARD");
    subscription.end();
    rig.mount(card);
    EXPECT_EQ(told.after(0), Strings{});
  });
}

INSTANTIATE_TEST_SUITE_P(, MountEvents, testing::Values(LoopVolume::Format::ext4, LoopVolume::Format::exfat),
                         [](const auto& format) {
                           return format.param == LoopVolume::Format::ext4 ? "ext4" : "exfat";
                         });

}  // namespace
}  // namespace tolvander::tests
