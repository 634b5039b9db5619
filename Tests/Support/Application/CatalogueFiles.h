#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "Platform/Linux/PhotoLibrary/CatalogueContents.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

// What happens to the catalogue of a library that isn't open.

inline FileURL catalogueFile(const FileURL& library) { return library.appending("Library.sqlite"); }

inline platform::linux_::CatalogueContents catalogueContents(const FileURL& file) {
  platform::linux_::Catalogue catalogue(file, std::chrono::seconds(5));
  return platform::linux_::contentsOf(catalogue);
}

// With its log.
inline void removeCatalogue(const FileURL& library) {
  for (const char* const suffix : {"", "-wal", "-shm"}) {
    std::filesystem::remove(catalogueFile(library).path() + suffix);
  }
}

// In its place is a file that is no database.
inline void breakCatalogue(const FileURL& library) {
  removeCatalogue(library);
  writeFile(catalogueFile(library), std::string(4096, 'x'));
}

inline void emptyCatalogue(const FileURL& library) {
  removeCatalogue(library);
  writeFile(catalogueFile(library), "");
}

// As an earlier version made it silently: a sound catalogue that names nothing.
inline void replaceCatalogueByANewOne(const FileURL& library) {
  removeCatalogue(library);
  platform::linux_::Catalogue::createOrUpgrade(catalogueFile(library), std::chrono::seconds(5));
}

}  // namespace tolvander::tests
