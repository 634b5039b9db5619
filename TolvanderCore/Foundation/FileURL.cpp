#include "TolvanderCore/Foundation/FileURL.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "TolvanderCore/Foundation/Precondition.h"

namespace tolvander {

namespace {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') {
    path.remove_suffix(1);
  }
  return path;
}

// "/" for the root.
std::string_view lastComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

// The path with every link resolved by realpath(3). On failure absent, with errno set.
std::optional<std::string> realPath(const std::string& path) {
  struct Freeing {
    void operator()(char* text) const { free(text); }
  };
  const std::unique_ptr<char, Freeing> resolved(realpath(path.c_str(), nullptr));
  return resolved ? std::optional<std::string>(resolved.get()) : std::nullopt;
}

}  // namespace

std::string_view pathExtension(std::string_view path) {
  const std::string_view name = lastComponent(path);
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

FileURL::FileURL(std::string path) : path_(std::move(path)) {
  precondition(path_.starts_with('/'), "a file URL needs an absolute path");
}

std::string_view FileURL::lastPathComponent() const { return lastComponent(path_); }

std::string_view FileURL::stem() const {
  std::string_view name = lastPathComponent();
  if (const std::string_view extension = pathExtension(); !extension.empty()) {
    name.remove_suffix(extension.size() + 1);
  }
  return name;
}

FileURL FileURL::appending(std::string_view component) const {
  if (component.empty()) {
    return *this;
  }
  std::string path(withoutTrailingSlashes(path_));
  if (!path.ends_with('/')) {
    path += '/';
  }
  path += component.substr(std::min(component.find_first_not_of('/'), component.size()));
  return FileURL(std::move(path));
}

FileURL FileURL::deletingLastPathComponent() const {
  const std::string_view path = withoutTrailingSlashes(path_);
  const std::string_view parent = withoutTrailingSlashes(path.substr(0, path.rfind('/') + 1));
  return FileURL(std::string(parent));
}

FileURL FileURL::standardized() const {
  std::vector<std::string_view> components;
  std::string_view rest = path_;
  while (!rest.empty()) {
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    const std::string_view component = rest.substr(0, slash);
    rest.remove_prefix(std::min(slash + 1, rest.size()));
    if (component.empty() || component == ".") {
      continue;
    }
    if (component != "..") {
      components.push_back(component);
    } else if (!components.empty()) {
      components.pop_back();
    }
  }
  std::string path;
  for (const std::string_view component : components) {
    path += '/';
    path += component;
  }
  return FileURL(path.empty() ? "/" : std::move(path));
}

FileURL FileURL::resolvingSymlinks() const {
  // ".." after a link refers to the parent of the link's target, so the path must not be standardized before.
  std::string existing = path_;
  std::string missing;
  while (true) {
    if (const auto resolved = realPath(existing)) {
      return FileURL(*resolved).appending(missing).standardized();
    }
    const FileURL current(existing);
    if (errno != ENOENT || current.lastPathComponent() == "/") {
      return standardized();
    }
    std::string tail(current.lastPathComponent());
    if (!missing.empty()) {
      tail += '/';
      tail += missing;
    }
    missing = std::move(tail);
    existing = current.deletingLastPathComponent().path();
  }
}

bool FileURL::isBelow(const FileURL& directory) const {
  const std::string_view parent = directory.path_;
  return path_.size() > parent.size() && path_.starts_with(parent) &&
         (parent.ends_with('/') || path_[parent.size()] == '/');
}

}  // namespace tolvander
