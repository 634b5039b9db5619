#pragma once

#include <string>
#include <string_view>

namespace tolvander::platform::linux_ {

// The names of originals in the library. They are valid on all common file systems, so that the library can
// be copied to any disk: well-formed UTF-8 of at most 255 bytes, not hidden, without control characters and
// \/:*?"<>|, without a dot or space at the end, and not a reserved device name (CON, PRN, AUX, NUL, COM0 to
// COM9, LPT0 to LPT9, with any extension).

// The valid name closest to `filename`. Keeps the extension, unless that is longer than 32 bytes.
std::string originalName(std::string_view filename);

// Variant `choice`, from 1, of a name returned by originalName: the name itself, then with " 2", " 3" and so
// on before the extension. The stem is shortened if the name would be too long.
std::string originalName(std::string_view name, int choice);

// Equal for two names or paths that differ only in case, which a file system that ignores case treats as the
// same.
std::string originalNameKey(std::string_view path);

}  // namespace tolvander::platform::linux_
