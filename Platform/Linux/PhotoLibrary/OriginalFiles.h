#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::platform::linux_ {

// Returns whether to continue.
using OriginalFileVisitor = std::function<bool(const FileURL& file)>;

// Calls `visit` with everything below the folder of originals except folders, whether catalogued or not, in
// no particular order. Follows links to folders, and visits each folder once; other links are passed to
// `visit`. Enters packages like other folders, because users may keep pictures in one. Skips hidden entries.
// Does nothing if there is no such folder. A folder that can't be read is passed to `unreadable`; without a
// handler it is skipped.
void forEachOriginalFile(const LibraryFolder& folder, const OriginalFileVisitor& visit,
                         const DirectoryEnumerator::ErrorHandler& unreadable = nullptr);

// The files in `.incoming`, in no particular order; none if there is no such folder.
std::vector<FileURL> incomingFiles(const LibraryFolder& folder);

// The path of such a file relative to the library's folder, as in the catalogue.
std::string originalPath(const LibraryFolder& folder, const FileURL& file);

// The type of a file by its extension; absent unless it is that of a picture or film.
std::optional<app::PhotosMediaType> mediaTypeByExtension(const FileURL& file);

}  // namespace tolvander::platform::linux_
