#include "Tests/Support/Application/TrashScene.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::tests {

TrashScene::TrashScene(FileURL top)
    : volume(std::move(top)),
      camera(volume.appending("DCIM/100CHRM")),
      trash(volume.appending(".Trash-" + std::to_string(geteuid()) + "/files")) {
  std::filesystem::create_directories(camera.path());
}

FingerprintedMediaFile TrashScene::addPhoto(const std::string& name, std::string_view content) {
  const FileURL url = camera.appending(name);
  writeFile(url, content);
  const std::string fingerprint = FileFingerprinter::sha256(bytesOf(content));
  assets[fingerprint] = "asset of " + name;
  return {.file = {.url = url,
                   .volumeURL = volume,
                   .relativePath = "DCIM/100CHRM/" + name,
                   .filename = name,
                   .byteCount = static_cast<std::int64_t>(content.size()),
                   .modifiedAt = {}},
          .sourceFingerprint = fingerprint,
          .mediaPayloadFingerprint = {},
          .captureDate = {},
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

app::TrashMoveResult TrashScene::move(const std::vector<FingerprintedMediaFile>& files,
                                      const CancellationToken& token) const {
  return service.moveToTrash(files, volume, "camera", "CHARMERA", assets, intentLog, token);
}

ManagedTrashRecord TrashScene::moved(const FingerprintedMediaFile& file) const {
  const app::TrashMoveResult result = move({file});
  EXPECT_EQ(result.records.size(), 1U);
  return result.records.empty() ? ManagedTrashRecord() : result.records.front();
}

void TrashScene::moveAsAnotherProgramDoes(const std::string& name) {
  const auto files = service.openDirectory(platform.trashDirectory(volume, true));
  EXPECT_TRUE(platform.trashItem(service.openDirectory(camera).descriptor(), name, files.descriptor()));
}

FileURL TrashScene::infoOf(const std::string& name) const {
  return trash.deletingLastPathComponent().appending("info/" + name + ".trashinfo");
}

bool exists(const FileURL& url) {
  return std::filesystem::symlink_status(url.path()).type() != std::filesystem::file_type::not_found;
}

void renameFile(const FileURL& from, const FileURL& to) { std::filesystem::rename(from.path(), to.path()); }

std::uint64_t inodeOf(const FileURL& url) {
  struct stat status {};
  return lstat(url.path().c_str(), &status) == 0 ? status.st_ino : 0;
}

std::vector<std::string> namesIn(const FileURL& folder) {
  std::vector<std::string> names;
  if (std::filesystem::is_directory(folder.path())) {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::ranges::sort(names);
  return names;
}

}  // namespace tolvander::tests
