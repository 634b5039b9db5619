#include "TolvanderApp/Trash/TrashService.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Platform/SHA256.h"

namespace tolvander::app {

namespace {

constexpr std::size_t chunkSize = 1'048'576;

bool isOneRegularFile(const FileStatus& status) {
  return status.kind == FileStatus::Kind::regularFile && status.linkCount == 1;
}

bool isSameFile(const FileStatus& one, const FileStatus& other) {
  return one.device == other.device && one.inode == other.inode && one.birthSeconds == other.birthSeconds &&
         one.birthNanoseconds == other.birthNanoseconds;
}

bool isSameContent(const FileStatus& one, const FileStatus& other) {
  return one.size == other.size && one.modificationSeconds == other.modificationSeconds &&
         one.modificationNanoseconds == other.modificationNanoseconds;
}

bool isOrLiesBelow(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace

FileURL TrashService::normalized(const FileURL& url) const {
  FileURL standardized = url.standardized();
  const std::string& path = standardized.path();
  if (platform_.keepsTopLevelFoldersInPrivate() &&
      (isOrLiesBelow(path, "/tmp") || isOrLiesBelow(path, "/var"))) {
    return FileURL("/private" + path);
  }
  return standardized;
}

std::string TrashService::volumeIdentifier(const FileURL& url) const {
  if (auto uuid = platform_.volumeUUIDString(url)) {
    return *std::move(uuid);
  }
  throw UnsafeTrashItem();
}

TrashService::OpenDirectory TrashService::openDirectory(const FileURL& url) const {
  FileURL directory = normalized(url);
  auto descriptor = platform_.openRootDirectory();
  std::string_view rest = directory.path();
  while (true) {
    rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
    if (rest.empty()) {
      return {std::move(descriptor), std::move(directory)};
    }
    const std::string_view component = rest.substr(0, rest.find('/'));
    descriptor = platform_.openDirectory(*descriptor, std::string(component));
    rest.remove_prefix(component.size());
  }
}

TrashService::OpenFile TrashService::openFile(const FileURL& url, const FileURL& root) const {
  const FileURL file = normalized(url);
  const FileURL top = normalized(root);
  if (!file.isBelow(top)) {
    throw UnsafeTrashItem();
  }
  OpenFile opened(platform_, openDirectory(file.deletingLastPathComponent()),
                  std::string(file.lastPathComponent()));
  if (!isOneRegularFile(opened.info_)) {
    throw UnsafeTrashItem();
  }
  // Detects another file system that is mounted on a folder inside the volume.
  const std::string volume = volumeIdentifier(top);
  if (volumeIdentifier(opened.parent_.url()) != volume) {
    throw UnsafeTrashItem();
  }
  opened.identity_ = {.volumeIdentifier = volume,
                      .fileNumber = opened.descriptor_->fileNumber(),
                      .birthSeconds = opened.info_.birthSeconds,
                      .birthNanoseconds = opened.info_.birthNanoseconds};
  opened.verifyName();
  return opened;
}

TrashService::OpenFile::OpenFile(TrashOperations& platform, OpenDirectory parent, std::string name)
    : platform_(platform),
      parent_(std::move(parent)),
      name_(std::move(name)),
      descriptor_(platform_.openFile(parent_.descriptor(), name_)),
      info_(descriptor_->status()) {}

void TrashService::OpenFile::verifyNameIn(const OpenDirectory& directory, const std::string& name) const {
  const FileStatus status = platform_.status(directory.descriptor(), name);
  if (!isOneRegularFile(status) || !isSameFile(status, info_)) {
    throw UnsafeTrashItem();
  }
}

void TrashService::OpenFile::verifyHash(const std::string& expected, const CancellationToken& token) const {
  descriptor_->seekToStart();
  // Left uninitialised: clearing it would take longer than reading a photo.
  const std::unique_ptr<std::byte[]> memory(new std::byte[chunkSize]);
  const std::span chunk(memory.get(), chunkSize);
  SHA256 hash;
  token.throwIfCancelled();
  while (const std::size_t count = descriptor_->read(chunk)) {
    hash.update(chunk.first(count));
    token.throwIfCancelled();
  }
  if (!isSameContent(descriptor_->status(), info_) || FileFingerprinter::text(hash.finish()) != expected) {
    throw UnsafeTrashItem();
  }
  verifyName();
}

}  // namespace tolvander::app
