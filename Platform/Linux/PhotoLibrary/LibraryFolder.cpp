#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/Files/OpenFolder.h"
#include "TolvanderCore/Files/DayText.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

namespace {

using Links = LibraryFolder::Links;

bool isSafeComponent(std::string_view component) {
  return !component.empty() && component != "." && component != ".." &&
         component.find('\0') == std::string_view::npos;
}

// Whether the path is Originals or below it.
bool isPathOfLibrary(std::string_view path) {
  return path == LibraryFolder::originals || isOriginalPath(path);
}

// Throws EINVAL for a path that is not below Originals.
std::vector<std::string> componentsOf(std::string_view path, const FileURL& folder) {
  if (!isPathOfLibrary(path)) {
    throw PosixError(EINVAL, "find an original in", folder);
  }
  std::vector<std::string> components;
  for (std::size_t slash = path.find('/'); slash != std::string_view::npos; slash = path.find('/')) {
    components.emplace_back(path.substr(0, slash));
    path.remove_prefix(slash + 1);
  }
  components.emplace_back(path);
  return components;
}

int folderFlags(const std::string& component, Links links) {
  const bool isIncoming = component == nameIn(LibraryFolder::incoming);
  return O_RDONLY | O_DIRECTORY | O_CLOEXEC | (isIncoming || links == Links::refused ? O_NOFOLLOW : 0);
}

OwnedDescriptor openBelow(const OwnedDescriptor& folder, const std::string& name, int flags) {
  return OwnedDescriptor(retryOnEINTR([&] { return openat(folder.number(), name.c_str(), flags); }));
}

}  // namespace

bool isOriginalPath(std::string_view path) {
  const std::size_t first = path.find('/');
  if (path.substr(0, first) != LibraryFolder::originals || first == std::string_view::npos) {
    return false;
  }
  for (std::size_t start = first + 1;;) {
    const std::size_t slash = path.find('/', start);
    if (!isSafeComponent(path.substr(start, slash - start))) {
      return false;
    }
    if (slash == std::string_view::npos) {
      return true;
    }
    start = slash + 1;
  }
}

std::string folderOfDay(Date date, const TimeZone& zone) {
  const std::string day = dayText(date, zone);
  return std::string(LibraryFolder::originals) + "/" + day.substr(0, 4) + "/" + day;
}

std::string_view folderOf(std::string_view path) { return path.substr(0, path.rfind('/')); }

std::string_view nameIn(std::string_view path) { return path.substr(path.rfind('/') + 1); }

FileURL LibraryFolder::catalogueFile() const {
  // SQLite is told to refuse links (SQLITE_OPEN_NOFOLLOW), but the path to the folder may have some.
  return url_.resolvingSymlinks().appending("Library.sqlite");
}

bool LibraryFolder::isWritable() const {
  const auto allows = [](const FileURL& url, int how) {
    return faccessat(AT_FDCWD, url.path().c_str(), how, AT_EACCESS) == 0;
  };
  return allows(url_, W_OK | X_OK) && allows(catalogueFile(), R_OK | W_OK);
}

OwnedDescriptor LibraryFolder::open() const { return linux_::openFolder(url_); }

OwnedDescriptor LibraryFolder::openFolder(std::string_view path, Links links) const {
  OwnedDescriptor folder = open();
  for (const std::string& component : componentsOf(path, url_)) {
    folder = openBelow(folder, component, folderFlags(component, links));
    if (!folder) {
      throw PosixError(errno, "open", url_.appending(path));
    }
  }
  return folder;
}

OwnedDescriptor LibraryFolder::openFile(std::string_view path, Links links) const {
  const std::vector<std::string> components = componentsOf(path, url_);
  const OwnedDescriptor folder = openFolder(folderOf(path), links);
  const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (links == Links::refused ? O_NOFOLLOW : 0);
  OwnedDescriptor file = openBelow(folder, components.back(), flags);
  struct stat status {};
  if (!file || fstat(file.number(), &status) != 0) {
    throw PosixError(errno, "open", url_.appending(path));
  }
  if (!S_ISREG(status.st_mode)) {
    throw PosixError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, "open", url_.appending(path));
  }
  return file;
}

OwnedDescriptor LibraryFolder::makeFolder(std::string_view path, std::vector<std::string>& made) const {
  OwnedDescriptor folder = open();
  std::string soFar;
  for (const std::string& component : componentsOf(path, url_)) {
    soFar += (soFar.empty() ? "" : "/") + component;
    OwnedDescriptor next = openBelow(folder, component, folderFlags(component, Links::followed));
    if (!next && errno == ENOENT) {
      if (mkdirat(folder.number(), component.c_str(), 0777) == 0) {
        made.push_back(soFar);
        makeDurable(folder, url_.appending(soFar));
      } else if (errno != EEXIST) {
        throw PosixError(errno, "create the folder", url_.appending(soFar));
      }
      next = openBelow(folder, component, folderFlags(component, Links::followed));
    }
    if (!next) {
      throw PosixError(errno, "open", url_.appending(soFar));
    }
    folder = std::move(next);
  }
  return folder;
}

}  // namespace tolvander::platform::linux_
