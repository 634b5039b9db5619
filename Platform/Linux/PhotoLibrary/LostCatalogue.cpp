#include "Platform/Linux/PhotoLibrary/LostCatalogue.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>

#include "Platform/Linux/PhotoLibrary/OriginalFiles.h"
#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

[[noreturn]] void failWithPictures(const std::string& problem) {
  throw PhotosPlatformError(PhotosPlatformError::Case::internalError,
                            "the photo library has pictures, but its catalogue (Library.sqlite) " + problem);
}

bool isThere(const FileURL& url) {
  struct stat status {};
  return lstat(url.path().c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

// Returns false at the first picture or film for which `isExpected` returns false, and at a broken link or
// an unreadable folder: pictures may be behind it, for example on a disk that isn't connected.
bool areAllExpected(const LibraryFolder& folder, const OriginalFileVisitor& isExpected) {
  bool areAll = true;
  forEachOriginalFile(
      folder,
      [&](const FileURL& file) {
        areAll = areAll && fileExists(file) && (!mediaTypeByExtension(file) || isExpected(file));
        return areAll;
      },
      [&](const FileURL&, const PosixError&) {
        areAll = false;
        return false;
      });
  return areAll;
}

bool mayHavePictures(const LibraryFolder& folder) {
  if (!isThere(folder.url().appending(LibraryFolder::originals))) {
    return false;
  }
  OriginalPresence(folder).requireOriginals();
  return !incomingFiles(folder).empty() || !areAllExpected(folder, [](const FileURL&) { return false; });
}

bool namesNoneOfThePictures(const LibraryFolder& folder, Catalogue& catalogue) {
  // Another process may be importing the first pictures: it removes the intent of a file in the transaction
  // that catalogues it.
  const auto isKnown = [&](const FileURL& file) {
    return catalogue.intendsPath(originalPath(folder, file)) || !catalogue.isEmpty();
  };
  return catalogue.isEmpty() && !areAllExpected(folder, isKnown);
}

}  // namespace

void requireNoPictures(const LibraryFolder& folder, const std::string& state) {
  if (mayHavePictures(folder)) {
    failWithPictures("is " + state);
  }
}

void requireCatalogueOfPictures(const LibraryFolder& folder, Catalogue& catalogue) {
  if (namesNoneOfThePictures(folder, catalogue)) {
    failWithPictures("names none of them");
  }
}

bool isCatalogueLost(const LibraryFolder& folder, std::chrono::milliseconds busyTimeout) {
  const FileURL file = folder.catalogueFile();
  try {
    if (!isThere(file) || Catalogue::isUnmade(file, busyTimeout)) {
      return mayHavePictures(folder);
    }
    Catalogue catalogue(file, busyTimeout);
    return namesNoneOfThePictures(folder, catalogue);
  } catch (const DatabaseError& error) {
    return isDamage(error);
  } catch (const Error&) {
    return false;
  }
}

bool isDamage(const DatabaseError& error) {
  return error.primaryCode() == SQLITE_CORRUPT || error.primaryCode() == SQLITE_NOTADB;
}

}  // namespace tolvander::platform::linux_
