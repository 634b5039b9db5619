#pragma once

#include <compare>
#include <functional>
#include <string>
#include <string_view>

namespace tolvander {

// The text after the last dot of the last component of `path`, which may be relative. Empty without a dot,
// and if the dot is the component's first (".avi") or last ("a.") character. A view into `path`.
std::string_view pathExtension(std::string_view path);

// An absolute path of the local file system. The path is a sequence of bytes, usually but not necessarily
// UTF-8. Only standardized() and resolvingSymlinks() normalise it.
class FileURL {
 public:
  // `path` must begin with a slash; anything else is a programming error.
  explicit FileURL(std::string path);

  const std::string& path() const { return path_; }

  // The text after the last slash, ignoring trailing slashes; "/" for the root.
  std::string_view lastPathComponent() const;

  std::string_view pathExtension() const { return tolvander::pathExtension(path_); }

  // The last path component without its extension and the dot before it.
  std::string_view stem() const;

  // This path and `component` below it, with one slash between. An empty component gives this path again.
  FileURL appending(std::string_view component) const;

  // The path without its last component; "/" for the root.
  FileURL deletingLastPathComponent() const;

  // The path without empty and "." components and trailing slashes, and with ".." resolved as text. Doesn't
  // access the file system.
  FileURL standardized() const;

  // The path with all symbolic links resolved. If its end doesn't exist, the existing part is resolved and
  // the rest is kept. If resolving fails for another reason (a loop, no permission), the standardized path.
  // Reads the file system. Never throws.
  FileURL resolvingSymlinks() const;

  // Whether this path begins with the path of `directory` and a slash. Neither path is normalised.
  bool isBelow(const FileURL& directory) const;

  friend auto operator<=>(const FileURL&, const FileURL&) = default;

 private:
  std::string path_;
};

}  // namespace tolvander

template <>
struct std::hash<tolvander::FileURL> {
  std::size_t operator()(const tolvander::FileURL& url) const noexcept {
    return std::hash<std::string>()(url.path());
  }
};
