#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "Platform/Linux/Mounts/MountTable.h"
#include "TolvanderCore/Foundation/Precondition.h"

using namespace tolvander;
using platform::linux_::Mount;
using platform::linux_::MountTable;

// Whatever the table says, one mount at most is met at the end of a path, and it is one of the table's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MountTable table = MountTable::parse({reinterpret_cast<const char*>(data), size});
  std::set<std::string> places;
  for (const Mount& mount : table.visible()) {
    precondition(mount.place.path().starts_with('/'), "a mount point is an absolute path");
    precondition(places.insert(mount.place.path()).second, "one mount is visible at each place");
    precondition(table.withNumber(mount.number) != nullptr, "a visible mount is in the table");
    precondition(!(mount.isPseudo() && mount.blockDevice()), "what is on a drive is not the kernel's own");
  }
  precondition(places.size() <= table.mounts().size(), "no more mounts are visible than there are");
  return 0;
}
