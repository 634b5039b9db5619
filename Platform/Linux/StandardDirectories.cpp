#include "TolvanderCore/Platform/StandardDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {

namespace {

// The folder that an environment variable names. Where it is unset, empty or relative it counts as unset, as
// the XDG Base Directory Specification (freedesktop.org) asks.
std::optional<FileURL> folderFromEnvironment(const char* variable) {
  const char* path = getenv(variable);
  if (path == nullptr || *path != '/') {
    return std::nullopt;
  }
  return FileURL(path).standardized();
}

// The home that the system's user database has for the user of this process.
std::optional<FileURL> homeFromUserDatabase() {
  constexpr std::size_t largestRecord = 1 << 20;
  for (std::vector<char> buffer(4096); buffer.size() <= largestRecord; buffer.resize(buffer.size() * 2)) {
    passwd record{};
    passwd* found = nullptr;
    const int failure = getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &found);
    if (failure == ERANGE) {
      continue;
    }
    if (failure != 0 || found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/') {
      return std::nullopt;
    }
    return FileURL(found->pw_dir).standardized();
  }
  return std::nullopt;
}

std::optional<FileURL> homeFolder() {
  const auto home = folderFromEnvironment("HOME");
  return home ? home : homeFromUserDatabase();
}

// One of the base directories of that specification: as the variable says, or else below the user's home.
std::optional<FileURL> baseDirectory(const char* variable, std::string_view belowHome) {
  if (auto named = folderFromEnvironment(variable)) {
    return named;
  }
  const auto home = homeFolder();
  return home ? std::optional(home->appending(belowHome)) : std::nullopt;
}

}  // namespace

StandardDirectories StandardDirectories::current() {
  return {.applicationSupport = baseDirectory("XDG_DATA_HOME", ".local/share"),
          .temporary = folderFromEnvironment("TMPDIR").value_or(FileURL("/tmp")),
          .configuration = baseDirectory("XDG_CONFIG_HOME", ".config"),
          .logs = baseDirectory("XDG_STATE_HOME", ".local/state")};
}

StandardDirectories StandardDirectories::below(const FileURL& home) {
  return {.applicationSupport = home.appending("data"),
          .temporary = home.appending("tmp"),
          .configuration = home.appending("config"),
          .logs = home.appending("logs")};
}

}  // namespace tolvander
