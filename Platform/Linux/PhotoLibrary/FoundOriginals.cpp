#include "Platform/Linux/PhotoLibrary/FoundOriginals.h"

#include <algorithm>
#include <compare>
#include <iterator>
#include <utility>

#include "Platform/Linux/PhotoLibrary/FileIdentity.h"
#include "Platform/Linux/PhotoLibrary/OriginalContent.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;
using Links = LibraryFolder::Links;

FoundOriginals::FoundOriginals(const LibraryFolder& folder, CancellationToken token, Progress progress)
    : folder_(&folder), token_(std::move(token)), progress_(std::move(progress)) {}

std::vector<FoundOriginal> FoundOriginals::originals() {
  const std::vector<std::string> paths = pathsOfOriginals();
  soFar_.originalsInAll = static_cast<std::int64_t>(paths.size());
  for (const std::string& path : paths) {
    soFar_.bytesInAll += fileResourceValues(folder_->url().appending(path)).fileSize.value_or(0);
  }
  std::vector<FoundOriginal> found;
  for (const std::string& path : paths) {
    found.push_back(read(path, Links::followed));
    ++soFar_.originals;
    progress_(soFar_);
  }
  return found;
}

// One path of each file, sorted; the file's own path if links point to it as well.
std::vector<std::string> FoundOriginals::pathsOfOriginals() const {
  struct Name {
    std::string file;  // with its links resolved
    bool hasLinks = false;
    std::string path;

    auto operator<=>(const Name&) const = default;
  };
  const FileURL originals = folder_->url().appending(LibraryFolder::originals);
  const std::string place = originals.resolvingSymlinks().path();
  std::vector<Name> names;
  std::optional<PosixError> failure;
  forEachOriginalFile(
      *folder_,
      [&](const FileURL& file) {
        token_.throwIfCancelled();
        const std::string resolved = file.resolvingSymlinks().path();
        names.push_back({.file = resolved,
                         .hasLinks = resolved != place + file.path().substr(originals.path().size()),
                         .path = originalPath(*folder_, file)});
        return true;
      },
      [&](const FileURL&, const PosixError& error) {
        failure = error;
        return false;
      });
  if (failure) {
    throw PosixError(*failure);
  }
  std::ranges::sort(names);
  const auto isSameFile = [](const Name& left, const Name& right) { return left.file == right.file; };
  names.erase(std::unique(names.begin(), names.end(), isSameFile), names.end());
  std::vector<std::string> paths;
  std::ranges::transform(names, std::back_inserter(paths), &Name::path);
  std::ranges::sort(paths);
  return paths;
}

std::vector<FoundOriginal> FoundOriginals::incoming() {
  std::vector<FoundOriginal> found;
  for (const std::string& path : pathsOfIncoming()) {
    found.push_back(read(path, Links::refused));
  }
  return found;
}

std::vector<std::string> FoundOriginals::pathsOfIncoming() const {
  std::vector<std::string> paths;
  for (const FileURL& file : incomingFiles(*folder_)) {
    paths.push_back(originalPath(*folder_, file));
  }
  std::ranges::sort(paths);
  return paths;
}

bool FoundOriginals::areUnchanged(const std::vector<FoundOriginal>& originals,
                                  const std::vector<FoundOriginal>& incoming) const {
  const auto areThere = [](const std::vector<FoundOriginal>& files, const std::vector<std::string>& paths) {
    return std::ranges::equal(files, paths, {}, &FoundOriginal::path);
  };
  const auto areAll = [this](const std::vector<FoundOriginal>& files, Links links) {
    return std::ranges::all_of(files, [&](const FoundOriginal& file) { return isUnchanged(file, links); });
  };
  return areThere(originals, pathsOfOriginals()) && areThere(incoming, pathsOfIncoming()) &&
         areAll(originals, Links::followed) && areAll(incoming, Links::refused);
}

bool FoundOriginals::isUnchanged(const FoundOriginal& file, Links links) const {
  const FileIdentity now =
      identityOf(folder_->openFile(file.path, links), folder_->url().appending(file.path));
  return now.byteCount == file.byteCount && now.modified == file.modified;
}

FoundOriginal FoundOriginals::read(const std::string& path, Links links) {
  token_.throwIfCancelled();
  const FileURL url = folder_->url().appending(path);
  const OwnedDescriptor file = folder_->openFile(path, links);
  const FileIdentity before = identityOf(file, url);
  std::string sha256 = sha256Of(file, url, token_, [&](std::span<const std::byte> chunk) {
    soFar_.bytes += static_cast<std::int64_t>(chunk.size());
    progress_(soFar_);
  });
  if (identityOf(file, url) != before) {
    throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                              "“" + url.path() + "” was changed while it was read");
  }
  return {
      .path = path, .byteCount = before.byteCount, .sha256 = std::move(sha256), .modified = before.modified};
}

}  // namespace tolvander::platform::linux_
