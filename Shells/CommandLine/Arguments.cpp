#include "Shells/CommandLine/Arguments.h"

#include <filesystem>

namespace tolvander::shell {

FileURL fileURLFromArgument(const std::string& path) {
  // The trailing slash that a shell's completion adds is no part of a volume's name.
  return FileURL(std::filesystem::absolute(path).string()).standardized();
}

}  // namespace tolvander::shell
