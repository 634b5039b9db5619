#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::platform::linux_ {

// The file beside a trashed item that says where it came from and when (freedesktop.org Trash specification
// 1.0, "Contents of a trash directory").

inline constexpr std::string_view trashInfoExtension = ".trashinfo";

// The whole content. `path` is relative to the folder that the Trash lies in, without a leading slash; bytes,
// which are percent-encoded here. The date is shown as the clock on the wall does.
std::string trashInfoText(std::string_view path, std::time_t deletedAt);

// Whether a file that begins like this is such a file.
bool isTrashInfo(std::string_view beginning);

// What such a file says.
struct TrashInfo {
  std::string path;  // as above, or an absolute one; neither empty nor with a zero in it
  Date deletedAt;    // of the two instants that a clock set back shows, the later

  friend bool operator==(const TrashInfo&, const TrashInfo&) = default;
};

// Absent where the text is no such file's or says it in no proper form.
std::optional<TrashInfo> trashInfoFromText(std::string_view text);

// The name that an item gets in the Trash: its own, and from the second attempt on with a number before the
// extension ("PICT0001.2.JPG"). Of a very long name as much of the beginning as leaves room for all of it
// and for the extension of its info file.
std::string nameInTrash(std::string_view name, unsigned attempt);

}  // namespace tolvander::platform::linux_
