#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::platform::linux_ {

// The info file of a trashed item, with its original path and the date (freedesktop.org Trash specification
// 1.0, "Contents of a trash directory").

inline constexpr std::string_view trashInfoExtension = ".trashinfo";

// The content of an info file. `path` is relative to the folder that contains the Trash, without a leading
// slash; its bytes are percent-encoded. The date is written as local time.
std::string trashInfoText(std::string_view path, std::time_t deletedAt);

// Whether a file that begins like this is an info file.
bool isTrashInfo(std::string_view beginning);

// The content of an info file.
struct TrashInfo {
  std::string path;  // as above, or absolute; not empty, without NUL characters
  Date deletedAt;    // the later one if the local time occurred twice (end of summer time)

  friend bool operator==(const TrashInfo&, const TrashInfo&) = default;
};

// Absent if the text isn't a valid info file.
std::optional<TrashInfo> trashInfoFromText(std::string_view text);

// The name of an item in the Trash for an attempt, from 1: its own name, and from the second attempt on with
// a number before the extension ("PICT0001.2.JPG"). A long name is shortened so that the name of its info
// file fits too.
std::string nameInTrash(std::string_view name, unsigned attempt);

}  // namespace tolvander::platform::linux_
