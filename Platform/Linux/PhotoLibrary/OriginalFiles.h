#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::platform::linux_ {

// Answers whether to go on.
using OriginalFileVisitor = std::function<bool(const FileURL& file)>;

// Gives everything below the folder of originals that is not a folder, whether it is catalogued or not, in
// no promised order. Links to folders are followed, each folder once; other links are given. Packages are
// entered like every folder: a person may keep pictures in one. Hidden entries are left out. Gives nothing
// where there is no such folder. A folder that can't be read is reported to the handler; without one it is
// passed over.
void forEachOriginalFile(const LibraryFolder& folder, const OriginalFileVisitor& visit,
                         const DirectoryEnumerator::ErrorHandler& unreadable = nullptr);

// The files that wait in `.incoming` for their names, in no promised order; none where there is no such
// folder.
std::vector<FileURL> incomingFiles(const LibraryFolder& folder);

// The path of such a file relative to the library's folder, as it is catalogued.
std::string originalPath(const LibraryFolder& folder, const FileURL& file);

// What a file is by its extension; absent where that is none of a picture or film.
std::optional<app::PhotosMediaType> mediaTypeByExtension(const FileURL& file);

}  // namespace tolvander::platform::linux_
