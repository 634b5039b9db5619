#pragma once

#include <string_view>

#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::tests {

// A new folder for one test, removed with everything in it when the test ends.
class TemporaryFolder {
 public:
  TemporaryFolder();

  // The same where files cost no disk's time, for tests that write and sync thousands of them; on the disk
  // where the system has no such place.
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

// Writes a file, and the folders above it where they are missing.
void writeFile(const FileURL& url, std::string_view content);

std::string readFile(const FileURL& url);

}  // namespace tolvander::tests
