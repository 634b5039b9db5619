#include "Tests/Support/LibraryEdits.h"

#include <chrono>
#include <filesystem>
#include <string_view>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Database.h"

namespace tolvander::tests {

using platform::linux_::Database;

namespace {

std::vector<std::string> pathsOf(Database& database, const std::string& originalFilename) {
  std::vector<std::string> paths;
  auto rows = database.query("SELECT path FROM resources WHERE original_filename = ?",
                             std::string_view(originalFilename));
  while (rows.next()) {
    paths.push_back(rows.text(0));
  }
  return paths;
}

}  // namespace

int deleteFromLibrary(const FileURL& library, const std::string& originalFilename) {
  Database database(library.appending("Library.sqlite"), Database::Opening::existing,
                    std::chrono::seconds(5));
  const auto paths = pathsOf(database, originalFilename);
  database.execute("DELETE FROM assets WHERE id IN (SELECT asset FROM resources WHERE original_filename = ?)",
                   std::string_view(originalFilename));
  for (const std::string& path : paths) {
    std::filesystem::remove(library.appending(path).path());
  }
  return static_cast<int>(paths.size());
}

}  // namespace tolvander::tests
