#include "Platform/Linux/PhotoLibrary/LibraryVerifier.h"

#include <sys/stat.h>

#include <optional>
#include <string>
#include <unordered_set>

#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

std::optional<std::int64_t> sizeOf(const LibraryFolder& folder, const std::string& path) {
  try {
    const Descriptor file = folder.openFile(path, LibraryFolder::Links::followed);
    struct stat status {};
    if (fstat(file.number(), &status) == 0) {
      return status.st_size;
    }
  } catch (const PosixError&) {
    return std::nullopt;
  }
  return std::nullopt;
}

std::vector<FileURL> filesBeside(const std::unordered_set<std::string>& known, const LibraryFolder& folder,
                                 const CancellationToken& token) {
  std::vector<FileURL> unknown;
  auto entries = DirectoryEnumerator::at(folder.url().appending(LibraryFolder::originals));
  if (!entries) {
    return unknown;
  }
  while (const auto entry = entries->next()) {
    token.throwIfCancelled();
    if (!known.contains(entry->path()) && !fileResourceValues(*entry).isDirectory) {
      unknown.push_back(*entry);
    }
  }
  return unknown;
}

}  // namespace

LibraryVerification verifyLibrary(const LibraryFolder& folder, Catalogue& catalogue,
                                  const CancellationToken& token) {
  LibraryVerification found;
  found.catalogueProblems = catalogue.problems();
  std::unordered_set<std::string> known;
  catalogue.forEachAsset([&](const auto&, const std::vector<CataloguedResource>& resources) {
    ++found.assets;
    for (const CataloguedResource& resource : resources) {
      token.throwIfCancelled();
      ++found.originals;
      const FileURL file = folder.url().appending(resource.path);
      known.insert(file.path());
      const auto size = sizeOf(folder, resource.path);
      if (!size) {
        found.missing.push_back(file);
      } else if (*size != resource.byteCount) {
        found.changed.push_back(file);
      }
    }
    return true;
  });
  found.unknown = filesBeside(known, folder, token);
  return found;
}

}  // namespace tolvander::platform::linux_
