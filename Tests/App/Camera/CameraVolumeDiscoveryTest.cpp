#include "TolvanderApp/CameraVolumeDiscovery.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tests/Support/Doubles/FakeVolumes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::app {
namespace {

using tests::FakeVolumes;

const FileURL card("/media/me/CARD");

VolumeValues valuesWith(void (*change)(VolumeValues&)) {
  VolumeValues values = FakeVolumes::card();
  change(values);
  return values;
}

bool isListed(const std::optional<VolumeValues>& values) {
  FakeVolumes volumes;
  volumes.mount(card, values);
  return !CameraVolumeDiscovery::mountedURLs(volumes).empty();
}

TEST(CameraVolumeDiscovery, listsRemovableVolumesInTheirOrder) {
  FakeVolumes volumes;
  volumes.mount(FileURL("/media/me/B"));
  volumes.mount(FileURL("/"), valuesWith([](VolumeValues& values) { values.isInternal = true; }));
  volumes.mount(FileURL("/media/me/A"));
  EXPECT_EQ(CameraVolumeDiscovery::mountedURLs(volumes),
            (std::vector{FileURL("/media/me/B"), FileURL("/media/me/A")}));
}

TEST(CameraVolumeDiscovery, listsWhatIsEjectableOnly) {
  EXPECT_TRUE(isListed(valuesWith([](VolumeValues& values) {
    values.isRemovable = false;
    values.isEjectable = true;
  })));
  EXPECT_TRUE(isListed(valuesWith([](VolumeValues& values) {
    values.isRemovable = std::nullopt;
    values.isEjectable = true;
  })));
}

TEST(CameraVolumeDiscovery, leavesOutBuiltInDisksAndThoseOfWhichItIsNotKnown) {
  EXPECT_FALSE(isListed(valuesWith([](VolumeValues& values) { values.isInternal = true; })));
  EXPECT_FALSE(isListed(valuesWith([](VolumeValues& values) { values.isInternal = std::nullopt; })));
}

TEST(CameraVolumeDiscovery, leavesOutSharesOfOtherMachines) {
  EXPECT_FALSE(isListed(valuesWith([](VolumeValues& values) { values.isLocal = false; })));
  EXPECT_FALSE(isListed(valuesWith([](VolumeValues& values) { values.isLocal = std::nullopt; })));
}

TEST(CameraVolumeDiscovery, leavesOutWhatCanNeitherBeTakenOutNorEjected) {
  EXPECT_FALSE(isListed(valuesWith([](VolumeValues& values) { values.isRemovable = false; })));
  EXPECT_FALSE(isListed(valuesWith([](VolumeValues& values) {
    values.isRemovable = std::nullopt;
    values.isEjectable = std::nullopt;
  })));
}

TEST(CameraVolumeDiscovery, leavesOutVolumesWhoseValuesCannotBeRead) { EXPECT_FALSE(isListed(std::nullopt)); }

TEST(CameraVolumeDiscovery, findsAMountedVolumeHoweverItIsSpelt) {
  FakeVolumes volumes;
  volumes.mount(card);
  EXPECT_TRUE(CameraVolumeDiscovery::isStillMounted(card, volumes));
  EXPECT_TRUE(CameraVolumeDiscovery::isStillMounted(FileURL("/media/./me//x/../CARD/"), volumes));
  EXPECT_FALSE(CameraVolumeDiscovery::isStillMounted(FileURL("/media/me"), volumes));
  EXPECT_FALSE(CameraVolumeDiscovery::isStillMounted(card.appending("DCIM"), volumes));
  volumes.unmount(card);
  EXPECT_FALSE(CameraVolumeDiscovery::isStillMounted(card, volumes));
}

TEST(CameraVolumeDiscovery, findsTheVolumeThatAFolderLiesOn) {
  const std::vector volumes{FileURL("/Volumes/CARD"), FileURL("/Volumes/CARD 2")};
  const auto containing = [&](const char* path) {
    return CameraVolumeDiscovery::containingVolume(FileURL(path), volumes);
  };
  EXPECT_EQ(containing("/Volumes/CARD"), volumes[0]);
  EXPECT_EQ(containing("/Volumes/CARD/"), volumes[0]);
  EXPECT_EQ(containing("/Volumes/CARD/DCIM"), volumes[0]);
  EXPECT_EQ(containing("/Volumes/CARD 2/DCIM/1.JPG"), volumes[1]);
  EXPECT_EQ(containing("/Volumes/CARD/../CARD 2/DCIM"), volumes[1]);
  EXPECT_EQ(containing("/Volumes/CARD 3"), std::nullopt);
  EXPECT_EQ(containing("/Volumes"), std::nullopt);
  EXPECT_EQ(containing("/"), std::nullopt);
}

TEST(CameraVolumeDiscovery, findsTheInnermostVolumeAndOfEqualsTheFirst) {
  const std::vector volumes{FileURL("/a"), FileURL("/a/b/c/"), FileURL("/a/b/c"), FileURL("/a/b")};
  EXPECT_EQ(CameraVolumeDiscovery::containingVolume(FileURL("/a/b/c/d"), volumes), volumes[1]);
  EXPECT_EQ(CameraVolumeDiscovery::containingVolume(FileURL("/a/b/x"), volumes), volumes[3]);
}

TEST(CameraVolumeDiscovery, findsNoVolumeForWhatLiesOnTheSystemDisk) {
  FakeVolumes volumes;
  volumes.mount(FileURL("/"), valuesWith([](VolumeValues& values) { values.isInternal = true; }));
  volumes.mount(FileURL("/mnt/share"), valuesWith([](VolumeValues& values) { values.isLocal = false; }));
  volumes.mount(card);
  const auto mounted = CameraVolumeDiscovery::mountedURLs(volumes);
  EXPECT_EQ(CameraVolumeDiscovery::containingVolume(FileURL("/"), mounted), std::nullopt);
  EXPECT_EQ(CameraVolumeDiscovery::containingVolume(FileURL("/home/me"), mounted), std::nullopt);
  EXPECT_EQ(CameraVolumeDiscovery::containingVolume(FileURL("/mnt/share/photos"), mounted), std::nullopt);
  EXPECT_EQ(CameraVolumeDiscovery::containingVolume(card.appending("DCIM"), mounted), card);
}

TEST(CameraVolumeDiscovery, infersTheMediaRootsThatAreThere) {
  const tests::TemporaryFolder volume;
  const auto roots = [&] { return CameraVolumeDiscovery::inferredMediaRoots(volume.url(), fileExists); };
  using Roots = std::vector<std::string>;
  EXPECT_EQ(roots(), Roots{""}) << "the whole volume";
  tests::writeFile(volume / "SPIDCIM/1.JPG", "");
  EXPECT_EQ(roots(), Roots{"SPIDCIM"});
  tests::writeFile(volume / "DCIM/1.JPG", "");
  EXPECT_EQ(roots(), (Roots{"DCIM", "SPIDCIM"}));
}

}  // namespace
}  // namespace tolvander::app
