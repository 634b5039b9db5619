#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <stdio.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Application/TrashScene.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

// An attacker changes the volume just before each single call of moving, restoring and deleting.
// Never may a file but the recorded one be removed, or come to lie anywhere but where it was put.

namespace tolvander::tests {

namespace {

constexpr std::string_view photoContent = "the recorded photo";
constexpr std::string_view editedContent = "the RECORDED photo";

std::uint64_t deviceOf(const FileURL& url) {
  struct stat status {};
  return lstat(url.path().c_str(), &status) == 0 ? status.st_dev : 0;
}

// A volume with the photo to be moved, restored or deleted, photos that must not change, and an attacker who
// acts once.
struct Battlefield {
  explicit Battlefield(const FileURL& top) : scene(top) {
    // A volume is what has one device number: some of these volumes have no UUID of their own.
    scene.watched.volumeUUID = [](const FileURL& url) { return std::to_string(deviceOf(url)); };
    put(scene.camera.appending("PICT0002.JPG"), "a photo beside it");
    put(outside.appending("PICT0001.JPG"), "a photo elsewhere");
    put(outsideTrash.appending("files/PICT0001.JPG"), "a photo in somebody's Trash");
    std::filesystem::create_directories(outsideTrash.appending("info").path());
    scene.platform.trashDirectory(scene.volume, true);
    put(scene.inTrash("PICT0003.JPG"), "something else in the Trash");
  }

  ~Battlefield() {
    for (const FileURL& place : mounts) {
      umount2(place.path().c_str(), MNT_DETACH);
    }
    for (const auto& entry : std::filesystem::directory_iterator(scene.volume.path())) {
      std::filesystem::remove_all(entry.path());
    }
  }
  Battlefield(const Battlefield&) = delete;
  Battlefield& operator=(const Battlefield&) = delete;

  // A file that nothing may happen to. Not put where there is something already.
  void put(const FileURL& url, const std::string& content) {
    if (!exists(url)) {
      writeFile(url, content);
      bystanders.emplace(url, content);
    }
  }

  // The photo under the name that people can know of; on the camera where it is nowhere.
  FileURL victim() const { return !exists(original) && exists(trashed) ? trashed : original; }

  // By an attacker who has the photo open, under whatever name it has by now.
  void overwrite(std::string_view content) const {
    ASSERT_EQ(pwrite(editor.number(), content.data(), content.size(), 0),
              static_cast<ssize_t>(content.size()));
  }

  void takeAway(const FileURL& url) {
    if (exists(url)) {
      renameFile(url, aside);
    }
  }

  // A folder becomes another one, or a link to one.
  void moveFolderAway(const FileURL& url) {
    renameFile(url, aside);
    // What lay in it lies in the other folder now.
    std::map<FileURL, std::string> moved;
    for (const auto& [place, content] : bystanders) {
      moved.emplace(place.isBelow(url) ? aside.appending(place.path().substr(url.path().size())) : place,
                    content);
    }
    bystanders = std::move(moved);
  }

  void mountOver(const FileURL& place) {
    ASSERT_EQ(mount("tmpfs", place.path().c_str(), "tmpfs", 0, "size=1m"), 0);
    mounts.push_back(place);
    mountedContent = "a photo on another volume";
    writeFile(place.appending("PICT0001.JPG"), mountedContent);
  }

  bool holds(const FileURL& url, std::string_view content) const {
    return std::filesystem::symlink_status(url.path()).type() == std::filesystem::file_type::regular &&
           readFile(url) == content;
  }

  // Whether the content is anywhere on the volume.
  bool isKept(std::string_view content) const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(scene.volume.path())) {
      if (holds(FileURL(entry.path().string()), content)) {
        return true;
      }
    }
    return false;
  }

  // The attack ends, and the folders under the mounted volumes are visible again.
  void endAttack() {
    scene.watched.before = nullptr;
    for (const FileURL& place : mounts) {
      EXPECT_TRUE(holds(place.appending("PICT0001.JPG"), mountedContent)) << "on the other volume";
      umount2(place.path().c_str(), MNT_DETACH);
    }
    mounts.clear();
  }

  void expectBystandersInPlace(const std::vector<std::string>& namedPaths) const {
    for (const auto& [url, content] : bystanders) {
      const bool isNamed = std::ranges::any_of(
          namedPaths, [&, &bytes = content](const std::string& path) { return holds(FileURL(path), bytes); });
      EXPECT_TRUE(holds(url, content) || isNamed) << url.path() << " with " << content;
    }
  }

  bool photoIsKept() const { return isKept(photoContent) || isKept(editedContent) || isKept(grownContent()); }
  static std::string grownContent() { return std::string(photoContent) + "!"; }

  TrashScene scene;
  FingerprintedMediaFile photo = scene.addPhoto("PICT0001.JPG", photoContent);
  const FileURL original = photo.file.url;
  const OwnedDescriptor editor{open(original.path().c_str(), O_WRONLY | O_CLOEXEC)};
  const FileURL trashed = scene.inTrash("PICT0001.JPG");
  const FileURL aside = scene.volume.appending("aside");
  const FileURL outside = scene.volume.appending("outside");
  const FileURL outsideTrash = scene.volume.appending("outside-trash");
  std::map<FileURL, std::string> bystanders;
  std::vector<FileURL> mounts;
  std::string mountedContent;
};

struct Attack {
  std::string name;
  bool editsThePhoto = false;
  void (*act)(Battlefield& field);
};

FileURL trashTop(const Battlefield& field) { return field.scene.trash.deletingLastPathComponent(); }

const std::vector<Attack>& attacks() {
  static const std::vector<Attack> all{
      {"another file has its name", false,
       [](Battlefield& field) {
         const FileURL name = field.victim();
         field.takeAway(name);
         field.put(name, "another photo");
       }},
      {"another file has its name in the Trash", false,
       [](Battlefield& field) {
         field.takeAway(field.trashed);
         field.put(field.trashed, "another photo");
       }},
      {"its name in the Trash is taken", false,
       [](Battlefield& field) { field.put(field.trashed, "another photo"); }},
      {"its name on the camera is taken", false,
       [](Battlefield& field) { field.put(field.original, "another photo"); }},
      {"a link has its name", false,
       [](Battlefield& field) {
         const FileURL name = field.victim();
         field.takeAway(name);
         std::filesystem::create_symlink(field.outside.appending("PICT0001.JPG").path(), name.path());
       }},
      {"a pipe has its name", false,
       [](Battlefield& field) {
         const FileURL name = field.victim();
         field.takeAway(name);
         ASSERT_EQ(mkfifo(name.path().c_str(), 0600), 0);
       }},
      {"a device has its name", false,
       [](Battlefield& field) {
         const FileURL name = field.victim();
         field.takeAway(name);
         if (geteuid() == 0) {
           ASSERT_EQ(mknod(name.path().c_str(), S_IFCHR | 0600, makedev(1, 3)), 0);
         }
       }},
      {"a folder has its name", false,
       [](Battlefield& field) {
         const FileURL name = field.victim();
         field.takeAway(name);
         std::filesystem::create_directory(name.path());
       }},
      {"it has a second name", false,
       [](Battlefield& field) {
         if (exists(field.victim())) {
           std::filesystem::create_hard_link(field.victim().path(), field.aside.path());
         }
       }},
      {"it is gone", false, [](Battlefield& field) { field.takeAway(field.victim()); }},
      {"it is edited", true, [](Battlefield& field) { field.overwrite(editedContent); }},
      {"it has grown", true, [](Battlefield& field) { field.overwrite(Battlefield::grownContent()); }},
      {"its folder is another one", false,
       [](Battlefield& field) {
         field.moveFolderAway(field.scene.camera);
         field.put(field.original, "another photo");
       }},
      {"its folder is a link", false,
       [](Battlefield& field) {
         field.moveFolderAway(field.scene.camera);
         std::filesystem::create_directory_symlink(field.outside.path(), field.scene.camera.path());
       }},
      {"the Trash is another one", false,
       [](Battlefield& field) {
         field.moveFolderAway(trashTop(field));
         field.scene.platform.trashDirectory(field.scene.volume, true);
         field.put(field.trashed, "another photo");
       }},
      {"the Trash is a link", false,
       [](Battlefield& field) {
         field.moveFolderAway(trashTop(field));
         std::filesystem::create_directory_symlink(field.outsideTrash.path(), trashTop(field).path());
       }},
      {"the folder of the Trash's files is a link", false,
       [](Battlefield& field) {
         field.moveFolderAway(field.scene.trash);
         std::filesystem::create_directory_symlink(field.outside.path(), field.scene.trash.path());
       }},
      {"the info files are gone", false,
       [](Battlefield& field) { std::filesystem::remove_all(trashTop(field).appending("info").path()); }},
  };
  return all;
}

const std::vector<Attack>& attacksByMounts() {
  static const std::vector<Attack> all{
      {"a volume is mounted over its folder", false,
       [](Battlefield& field) { field.mountOver(field.scene.camera); }},
      {"a volume is mounted over the Trash's files", false,
       [](Battlefield& field) { field.mountOver(field.scene.trash); }},
  };
  return all;
}

// One of the three operations, from its preparation to the proof of what came of it.
struct Operation {
  std::string name;
  // `attack` is called when everything is prepared.
  std::function<void(Battlefield& field, const std::function<void()>& begin, bool mustNotSucceed)> run;
};

void runMove(Battlefield& field, const std::function<void()>& begin, bool mustNotSucceed) {
  begin();
  const app::TrashMoveResult result = field.scene.move({field.photo});
  field.endAttack();
  EXPECT_TRUE(field.photoIsKept());
  EXPECT_EQ(result.records.size() + result.failures.size(), 1U);
  EXPECT_FALSE(mustNotSucceed && !result.records.empty());
  std::vector<std::string> named = result.recoveryPaths;
  named.push_back(field.original.path());  // what can't be told from the file is put where that was
  field.expectBystandersInPlace(named);
  for (const ManagedTrashRecord& record : field.scene.service.availableRecords(result.records)) {
    const FileURL url(record.trashedPath);
    EXPECT_TRUE(field.holds(url, photoContent) || field.holds(url, editedContent) ||
                field.holds(url, Battlefield::grownContent()))
        << "a record of another file";
  }
}

void runRestore(Battlefield& field, const std::function<void()>& begin, bool mustNotSucceed) {
  const ManagedTrashRecord record = field.scene.moved(field.photo);
  begin();
  const app::TrashRestoreResult result = field.scene.service.restoreToOriginalLocations({record});
  field.endAttack();
  EXPECT_TRUE(field.photoIsKept());
  EXPECT_EQ(result.restored.size() + result.failures.size(), 1U);
  EXPECT_FALSE(mustNotSucceed && !result.restored.empty());
  // What takes the name between the last proof and the rename comes to lie there, and is no success.
  field.expectBystandersInPlace(result.restored.empty() ? std::vector{field.original.path()}
                                                        : std::vector<std::string>());
}

void runDelete(Battlefield& field, const std::function<void()>& begin, bool mustNotSucceed) {
  const ManagedTrashRecord record = field.scene.moved(field.photo);
  begin();
  const app::TrashDeleteResult result = field.scene.service.permanentlyDelete({record}, isProven, {});
  field.endAttack();
  EXPECT_EQ(field.photoIsKept(), result.deleted.empty());
  EXPECT_EQ(result.deleted.size() + result.failures.size(), 1U);
  EXPECT_FALSE(mustNotSucceed && !result.deleted.empty());
  field.expectBystandersInPlace({});
}

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all{{"move", runMove}, {"restore", runRestore}, {"delete", runDelete}};
  return all;
}

// The names of the calls that the operation makes without an attack.
std::vector<std::string> callsOf(const Operation& operation, const FileURL& top) {
  Battlefield field(top);
  std::vector<std::string> calls;
  operation.run(
      field, [&] { field.scene.watched.before = [&](const std::string& call) { calls.push_back(call); }; },
      false);
  return calls;
}

void attackBeforeEveryCall(const FileURL& top, const std::vector<Attack>& chosen, std::size_t stride) {
  for (const Operation& operation : operations()) {
    const std::vector<std::string> calls = callsOf(operation, top);
    ASSERT_GT(calls.size(), 20U);
    const auto lastRead = static_cast<std::size_t>(
        std::ranges::find(calls.rbegin(), calls.rend(), "file.read").base() - calls.begin());
    for (const Attack& attack : chosen) {
      for (std::size_t point = 1; point <= calls.size(); point += stride) {
        SCOPED_TRACE(operation.name + ", before call " + std::to_string(point) + " (" + calls.at(point - 1) +
                     "): " + attack.name);
        Battlefield field(top);
        std::size_t made = 0;
        // The last read finds the end of the file; what it read before that is the content.
        const bool mustNotSucceed = attack.editsThePhoto && point < lastRead;
        operation.run(
            field,
            [&] {
              field.scene.watched.before = [&](const std::string&) {
                if (++made == point) {
                  attack.act(field);
                }
              };
            },
            mustNotSucceed);
      }
      if (testing::Test::HasFailure()) {
        return;
      }
    }
  }
}

void inMemoryVolume(const std::function<void(const FileURL& top)>& body) {
  inPrivateMountNamespace([&] {
    const TemporaryFolder folder;
    ASSERT_EQ(mount("tmpfs", folder.url().path().c_str(), "tmpfs", 0, "size=8m"), 0);
    body(folder.url());
    umount2(folder.url().path().c_str(), MNT_DETACH);
  });
}

}  // namespace

TEST(TrashAttack, harmsNoOtherFileWhateverChangesBeforeEveryCall) {
  const TemporaryFolder folder;
  if (reasonAgainstPrivateMounts()) {
    attackBeforeEveryCall(folder.url(), attacks(), stepThrough(7));
  } else {
    inMemoryVolume([](const FileURL& top) { attackBeforeEveryCall(top, attacks(), stepThrough(7)); });
  }
}

TEST(TrashAttack, harmsNoOtherFileWhateverIsMountedBeforeEveryCall) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  inMemoryVolume([](const FileURL& top) { attackBeforeEveryCall(top, attacksByMounts(), stepThrough(7)); });
}

TEST(TrashAttack, harmsNoOtherFileOnADisk) {
  for (const auto& reason :
       {reasonAgainstPrivateMounts(), LoopVolume::reasonAgainst(LoopVolume::Format::ext4)}) {
    if (reason) {
      GTEST_SKIP() << *reason;
    }
  }
  // Of every so many calls one: here each takes milliseconds.
  inPrivateMountNamespace([] {
    const LoopVolume volume(LoopVolume::Format::ext4, "CHARMERA");
    attackBeforeEveryCall(volume.mountPoint(), attacks(), 17 * stepThrough(7));
    attackBeforeEveryCall(volume.mountPoint(), attacksByMounts(), 11 * stepThrough(7));
  });
}

namespace {

// Exchanges names and exchanges them back, again and again, on a separate thread. Between two exchanges it
// waits for a number of turns of the other threads, so that the disturbed operation sometimes succeeds.
class Exchanger {
 public:
  Exchanger(const std::vector<std::pair<FileURL, FileURL>>& pairs, std::size_t turnsBetween)
      : thread_([this, pairs, turnsBetween] {
          while (!isOver_) {
            for (const auto& [one, other] : pairs) {
              for (int exchange = 0; exchange < 2; ++exchange) {
                renameat2(AT_FDCWD, one.path().c_str(), AT_FDCWD, other.path().c_str(), RENAME_EXCHANGE);
              }
            }
            hasBegun_ = true;
            for (std::size_t turn = 0; turn < turnsBetween && !isOver_; ++turn) {
              std::this_thread::yield();
            }
          }
        }) {}
  ~Exchanger() {
    isOver_ = true;
    thread_.join();
  }
  Exchanger(const Exchanger&) = delete;
  Exchanger& operator=(const Exchanger&) = delete;

  // Returns when it has begun.
  void await() const {
    while (!hasBegun_) {
      std::this_thread::yield();
    }
  }

 private:
  std::atomic<bool> isOver_ = false;
  std::atomic<bool> hasBegun_ = false;
  std::thread thread_;
};

void race(const FileURL& top, std::size_t rounds) {
  std::size_t moved = 0;
  std::size_t deleted = 0;
  for (std::size_t round = 0; round < rounds; ++round) {
    Battlefield field(top);
    const FileURL decoy = field.scene.camera.appending("decoy");
    const FileURL trashDecoy = field.scene.inTrash("decoy");
    field.put(decoy, "a decoy on the camera");
    field.put(trashDecoy, "a decoy in the Trash");
    bool isDeleted = false;
    {
      const Exchanger exchanger({{field.original, decoy}, {field.trashed, trashDecoy}}, round % 16);
      exchanger.await();
      const auto records = field.scene.move({field.photo}).records;
      moved += records.size();
      const bool isRestored =
          round % 2 == 0 && !field.scene.service.restoreToOriginalLocations(records).restored.empty();
      if (!isRestored) {
        isDeleted = !field.scene.service.permanentlyDelete(records, isProven, {}).deleted.empty();
        deleted += isDeleted ? 1 : 0;
      }
    }
    for (const auto& [url, content] : field.bystanders) {
      EXPECT_TRUE(field.isKept(content)) << content << " in round " << round;
    }
    EXPECT_EQ(field.isKept(photoContent), !isDeleted) << "in round " << round;
    if (testing::Test::HasFailure()) {
      return;
    }
  }
  EXPECT_GT(moved, 0U) << "the race was lost every time and has shown nothing";
  EXPECT_GT(deleted, 0U);
}

}  // namespace

TEST(TrashAttack, losesNoFileToSomebodyWhoExchangesNamesAllTheTime) {
  const TemporaryFolder folder;
  constexpr std::size_t rounds = 2'000 / stepThrough(7);
  if (reasonAgainstPrivateMounts()) {
    race(folder.url(), rounds);
  } else {
    inMemoryVolume([](const FileURL& top) { race(top, rounds); });
  }
}

}  // namespace tolvander::tests
