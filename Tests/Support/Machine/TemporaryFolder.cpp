#include "Tests/Support/Machine/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace tolvander::tests {

namespace {

FileURL usualParent() { return FileURL(std::filesystem::temp_directory_path().string()); }

FileURL makeTemporaryFolder(const FileURL& parent) {
  std::string pattern = parent.appending("tolvander-test-XXXXXX").path();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("no temporary folder for the test");
  }
  return FileURL(pattern).resolvingSymlinks();
}

}  // namespace

TemporaryFolder::TemporaryFolder() : TemporaryFolder(usualParent()) {}

TemporaryFolder::TemporaryFolder(const FileURL& parent) : url_(makeTemporaryFolder(parent)) {}

TemporaryFolder TemporaryFolder::inMemory() {
  const FileURL memory("/dev/shm");
  return TemporaryFolder(access(memory.path().c_str(), W_OK) == 0 ? memory : usualParent());
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(url_.path(), ignored);
}

void writeFile(const FileURL& url, std::string_view content) {
  std::filesystem::create_directories(url.deletingLastPathComponent().path());
  std::ofstream stream(url.path(), std::ios::binary);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  ASSERT_TRUE(stream.flush()) << url.path();
}

std::string readFile(const FileURL& url) {
  std::ifstream stream(url.path(), std::ios::binary);
  EXPECT_TRUE(stream) << url.path();
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace tolvander::tests
