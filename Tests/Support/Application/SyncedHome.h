#pragma once

#include <set>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/HistoryDatabase.h"

namespace tolvander::tests {

// What the program has left below a separate home (`--home`), read while it doesn't run.
class SyncedHome {
 public:
  explicit SyncedHome(const FileURL& url) : url_(url) {}

  const FileURL& url() const { return url_; }
  FileURL historyFile() const { return url_.appending("data/Tolvander/history.json"); }
  FileURL libraryFolder() const { return url_.appending("pictures/Tolvander"); }

  // Empty where there is no file. Throws DecodingError where it isn't whole.
  HistoryDatabase history() const;

  // The fingerprints of the files that the library lists.
  std::multiset<std::string> pictures() const;

  // Expects that the catalogue and the folder agree to the last file, that each record names an item of its
  // own which is there, and that no recorded file counts as pending.
  void expectToBeTrue() const;

  // Expects all that, that nothing is pending, and that exactly these files, of different content, are in
  // history and library, each once.
  void expectEachOnce(const std::vector<FileURL>& cameraFiles) const;

 private:
  FileURL url_;
};

}  // namespace tolvander::tests
