#include "TolvanderCore/Platform/StandardDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {

namespace {

// The folder that an environment variable names. Absent if it is unset, empty or relative (freedesktop.org
// XDG Base Directory Specification, "Environment variables").
std::optional<FileURL> folderFromEnvironment(const char* variable) {
  const char* path = getenv(variable);
  if (path == nullptr || *path != '/') {
    return std::nullopt;
  }
  return FileURL(path).standardized();
}

// The home directory in the system's user database.
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

// A base directory of the XDG Base Directory Specification: the variable's, otherwise one below the home
// directory.
std::optional<FileURL> baseDirectory(const char* variable, std::string_view belowHome) {
  if (auto named = folderFromEnvironment(variable)) {
    return named;
  }
  const auto home = homeFolder();
  return home ? std::optional(home->appending(belowHome)) : std::nullopt;
}

// Removes the escapes of a text in double quotes without variables, as a shell does.
std::string unquoted(std::string_view text) {
  std::string result;
  for (std::size_t index = 0; index < text.size() && text[index] != '"'; ++index) {
    if (text[index] == '\\' && index + 1 < text.size()) {
      ++index;
    }
    result += text[index];
  }
  return result;
}

// The folder in a line of user-dirs.dirs (user-dirs.dirs(5)): an absolute path, or one below the home
// directory.
std::optional<FileURL> folderFromLine(std::string_view line, std::string_view variable,
                                      const std::optional<FileURL>& home) {
  constexpr std::string_view homeVariable = "$HOME/";
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  if (!line.starts_with(variable) || !line.substr(variable.size()).starts_with("=\"")) {
    return std::nullopt;
  }
  line.remove_prefix(variable.size() + 2);
  if (line.starts_with('/')) {
    return FileURL(unquoted(line)).standardized();
  }
  if (home && line.starts_with(homeVariable)) {
    return home->appending(unquoted(line.substr(homeVariable.size()))).standardized();
  }
  return std::nullopt;
}

// The last of several lines counts, as in a shell.
std::optional<FileURL> folderFromUserDirectories(std::string_view variable,
                                                 const std::optional<FileURL>& home) {
  auto configuration = folderFromEnvironment("XDG_CONFIG_HOME");
  if (!configuration && home) {
    configuration = home->appending(".config");
  }
  std::optional<FileURL> folder;
  if (configuration) {
    std::ifstream file(configuration->appending("user-dirs.dirs").path());
    for (std::string line; std::getline(file, line);) {
      if (auto named = folderFromLine(line, variable, home)) {
        folder = std::move(named);
      }
    }
  }
  return folder;
}

std::optional<FileURL> picturesFolder() {
  constexpr const char* variable = "XDG_PICTURES_DIR";
  if (auto named = folderFromEnvironment(variable)) {
    return named;
  }
  const auto home = homeFolder();
  if (auto named = folderFromUserDirectories(variable, home)) {
    return named;
  }
  return home ? std::optional(home->appending("Pictures")) : std::nullopt;
}

}  // namespace

StandardDirectories StandardDirectories::current() {
  return {.applicationSupport = baseDirectory("XDG_DATA_HOME", ".local/share"),
          .temporary = folderFromEnvironment("TMPDIR").value_or(FileURL("/tmp")),
          .configuration = baseDirectory("XDG_CONFIG_HOME", ".config"),
          .logs = baseDirectory("XDG_STATE_HOME", ".local/state"),
          .pictures = picturesFolder()};
}

StandardDirectories StandardDirectories::below(const FileURL& home) {
  return {.applicationSupport = home.appending("data"),
          .temporary = home.appending("tmp"),
          .configuration = home.appending("config"),
          .logs = home.appending("logs"),
          .pictures = home.appending("pictures")};
}

}  // namespace tolvander
