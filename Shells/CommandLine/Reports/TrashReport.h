#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderApp/Trash/TrashService.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/ManagedTrashRecord.h"
#include "TolvanderCore/TrashIntent.h"

namespace tolvander::app {

// The camera files that the program moved to the Trash and that have neither been put back nor deleted for
// good by it.
struct TrashReport {
  using Filenames = std::set<std::string>;

  struct File {
    std::string filename;
    Date trashedAt;
    // Absent where the file can't be reached or isn't the one any more: its camera isn't connected, or
    // the Trash has been emptied.
    std::optional<std::int64_t> byteCount;
  };

  struct Camera {
    std::string id;  // its identifier, or its volume's name
    std::string name;
    std::vector<File> files;  // in the order in which they were moved

    // How many of the files can be reached: all, or those of these names.
    std::int64_t reachable(const std::optional<Filenames>& filenames = std::nullopt) const;
  };

  std::vector<Camera> cameras;

  // Looks at every file, and changes nothing. The files of moves that an earlier process began and didn't
  // record are among them, where they prove to be those.
  static TrashReport of(std::vector<ManagedTrashRecord> records, const std::vector<TrashIntent>& unsettled,
                        const TrashService& trash);

  // Those of the names that no file has which can be reached.
  Filenames unknown(const Filenames& filenames) const;

  // For people, with line ends: for each camera how many files there are, and a line for each of them.
  std::string text() const;

  // For programs: an object with "cameras", each with "id", "name" and "files", each of these with
  // "filename", "trashedAt" (ISO 8601) and "byteCount", which is null where the file can't be reached.
  std::string json() const;
};

// Whether so many files go back to their camera.
Alert putBackQuestion(std::int64_t count, const std::string& cameraName);

std::string nothingInTrashText();
std::string nothingInConnectedTrashText();
std::string notInTrashText(const TrashReport::Filenames& filenames);

}  // namespace tolvander::app
