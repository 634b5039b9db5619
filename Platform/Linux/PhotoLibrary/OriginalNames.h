#pragma once

#include <string>
#include <string_view>

namespace tolvander::platform::linux_ {

// How originals are called in the library, whatever the camera calls them. Every name is one that common file
// systems take, so that the library can be copied to any disk: well-formed UTF-8 of at most 255 bytes, not
// hidden, without control characters and \/:*?"<>|, with no dot or space at its end, and none of the names
// that stand for devices elsewhere (CON, PRN, AUX, NUL, COM0 to COM9, LPT0 to LPT9, with any extension).

// The name nearest to `filename` that is such a name. The extension is kept, unless it is itself longer than
// 32 bytes.
std::string originalName(std::string_view filename);

// The n-th choice for a name made by originalName: the name itself, then with " 2", " 3" and so on before the
// extension, cut where it would become too long.
std::string originalName(std::string_view name, int choice);

// Two names or paths are one on a file system that ignores case when their keys are equal.
std::string originalNameKey(std::string_view path);

}  // namespace tolvander::platform::linux_
