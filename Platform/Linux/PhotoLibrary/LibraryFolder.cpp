#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "TolvanderCore/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool isSafeComponent(std::string_view component) {
  return !component.empty() && component != "." && component != ".." &&
         component.find('\0') == std::string_view::npos;
}

// Throws of a path that is none of the library.
std::vector<std::string> componentsOf(std::string_view path, const FileURL& folder) {
  std::vector<std::string> components;
  while (true) {
    const std::size_t slash = path.find('/');
    const std::string_view component = path.substr(0, slash);
    if (!isSafeComponent(component) || (components.empty() && component != LibraryFolder::originals)) {
      throw PosixError(EINVAL, "find an original in", folder);
    }
    components.emplace_back(component);
    if (slash == std::string_view::npos) {
      return components;
    }
    path.remove_prefix(slash + 1);
  }
}

Descriptor openBelow(const Descriptor& folder, const std::string& name, int flags) {
  return Descriptor(uninterrupted([&] { return openat(folder.number(), name.c_str(), flags); }));
}

}  // namespace

std::string_view folderOf(std::string_view path) { return path.substr(0, path.rfind('/')); }

std::string_view nameIn(std::string_view path) { return path.substr(path.rfind('/') + 1); }

void makeDurable(const Descriptor& descriptor, const FileURL& url) {
  if (uninterrupted([&] { return fsync(descriptor.number()); }) != 0) {
    throw PosixError(errno, "make durable", url);
  }
}

FileURL LibraryFolder::catalogueFile() const {
  // The database refuses links on the way to it, and the way to the folder may have some.
  return url_.resolvingSymlinks().appending("Library.sqlite");
}

bool LibraryFolder::isWritable() const {
  const auto allows = [](const FileURL& url, int how) {
    return faccessat(AT_FDCWD, url.path().c_str(), how, AT_EACCESS) == 0;
  };
  return allows(url_, W_OK | X_OK) && allows(catalogueFile(), R_OK | W_OK);
}

Descriptor LibraryFolder::open() const {
  Descriptor folder(
      uninterrupted([&] { return ::open(url_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!folder) {
    throw PosixError(errno, "open", url_);
  }
  return folder;
}

Descriptor LibraryFolder::openFolder(std::string_view path) const {
  Descriptor folder = open();
  for (const std::string& component : componentsOf(path, url_)) {
    folder = openBelow(folder, component, folderFlags);
    if (!folder) {
      throw PosixError(errno, "open", url_.appending(path));
    }
  }
  return folder;
}

Descriptor LibraryFolder::openFile(std::string_view path) const {
  const std::vector<std::string> components = componentsOf(path, url_);
  const Descriptor folder = openFolder(folderOf(path));
  Descriptor file =
      openBelow(folder, components.back(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  struct stat status {};
  if (!file || fstat(file.number(), &status) != 0) {
    throw PosixError(errno, "open", url_.appending(path));
  }
  if (!S_ISREG(status.st_mode)) {
    throw PosixError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "open", url_.appending(path));
  }
  return file;
}

Descriptor LibraryFolder::makeFolder(std::string_view path, std::vector<std::string>& made) const {
  Descriptor folder = open();
  std::string soFar;
  for (const std::string& component : componentsOf(path, url_)) {
    soFar += (soFar.empty() ? "" : "/") + component;
    Descriptor next = openBelow(folder, component, folderFlags);
    if (!next && errno == ENOENT) {
      if (mkdirat(folder.number(), component.c_str(), 0777) == 0) {
        made.push_back(soFar);
        makeDurable(folder, url_.appending(soFar));
      } else if (errno != EEXIST) {
        throw PosixError(errno, "create the folder", url_.appending(soFar));
      }
      next = openBelow(folder, component, folderFlags);
    }
    if (!next) {
      throw PosixError(errno, "open", url_.appending(soFar));
    }
    folder = std::move(next);
  }
  return folder;
}

}  // namespace tolvander::platform::linux_
