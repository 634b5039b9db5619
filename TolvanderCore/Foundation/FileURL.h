#pragma once

#include <compare>
#include <functional>
#include <string>
#include <string_view>

namespace tolvander {

// The text behind the last dot of the last component of `path`, absolute or not, as spelt; empty without a
// dot, and where the dot stands first (".avi") or last ("a."). A part of `path`.
std::string_view pathExtension(std::string_view path);

// An absolute path of the local file system. The path is bytes, as the file system has them: usually UTF-8,
// never taken for granted to be. Only standardized() and resolvingSymlinks() change how it is spelt.
class FileURL {
 public:
  // `path` must begin with a slash; anything else is a programming error.
  explicit FileURL(std::string path);

  const std::string& path() const { return path_; }

  // The text behind the last slash, trailing slashes aside; "/" for the root.
  std::string_view lastPathComponent() const;

  // That of the path.
  std::string_view pathExtension() const { return tolvander::pathExtension(path_); }

  // The last path component without its extension and that one's dot.
  std::string_view stem() const;

  // This path and `component` below it, with one slash between. An empty component gives this path again.
  FileURL appending(std::string_view component) const;

  // The path without its last component; "/" for the root.
  FileURL deletingLastPathComponent() const;

  // Without empty and "." components and trailing slashes, and with ".." taken back by its text alone.
  // Doesn't look at the file system.
  FileURL standardized() const;

  // Every symbolic link of the path resolved. Where the end of the path does not exist, its existing part is
  // resolved and the rest kept; where resolving fails for another reason (a loop, no permission), the
  // standardized path. Reads the file system, throws nothing.
  FileURL resolvingSymlinks() const;

  // Whether this path, as spelt, lies below `directory`: begins with its path and a slash.
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
