#pragma once

#include <string_view>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A new folder for one test, removed with its content at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();

  // The same in memory, for tests that write and sync thousands of files; on disk if the system has no such
  // file system.
  static TemporaryFolder inMemory();

  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Its path, with links resolved.
  const FileURL& url() const { return url_; }
  FileURL operator/(std::string_view component) const { return url_.appending(component); }

 private:
  explicit TemporaryFolder(const FileURL& parent);

  FileURL url_;
};

// Writes a file; creates missing folders above it.
void writeFile(const FileURL& url, std::string_view content);

std::string readFile(const FileURL& url);

}  // namespace tolvander::tests
