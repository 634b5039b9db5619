#include "Tests/Support/Application/LibraryEdits.h"

#include <chrono>
#include <filesystem>
#include <string_view>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Database.h"

namespace tolvander::tests {

using platform::linux_::Database;

std::vector<FileURL> originalsInLibrary(const FileURL& library, const std::string& originalFilename) {
  Database database(library.appending("Library.sqlite"), Database::OpenMode::existing,
                    std::chrono::seconds(5));
  std::vector<FileURL> originals;
  auto rows = database.query("SELECT path FROM resources WHERE original_filename = ? ORDER BY path",
                             std::string_view(originalFilename));
  while (rows.next()) {
    originals.push_back(library.appending(rows.text(0)));
  }
  return originals;
}

int deleteFromLibrary(const FileURL& library, const std::string& originalFilename) {
  int count = 0;
  for (const FileURL& original : originalsInLibrary(library, originalFilename)) {
    count += std::filesystem::remove(original.path()) ? 1 : 0;
  }
  return count;
}

}  // namespace tolvander::tests
