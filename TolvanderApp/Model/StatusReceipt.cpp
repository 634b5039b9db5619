#include "TolvanderApp/StatusReceipt.h"

#include <algorithm>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"

namespace tolvander::app {

namespace {

constexpr std::size_t maximumListedNames = 20;

std::string nameList(std::vector<std::string> names) {
  std::ranges::sort(names);
  std::string list;
  for (std::size_t index = 0; index < std::min(names.size(), maximumListedNames); ++index) {
    list += printable(names[index]) + "\n";
  }
  if (names.size() > maximumListedNames) {
    list += "…and " + std::to_string(names.size() - maximumListedNames) + " more\n";
  }
  return list;
}

}  // namespace

std::optional<std::string> StatusReceipt::duplicateHelp() const {
  if (metadataSkippedCount < 1) {
    return std::nullopt;
  }
  std::string help;
  if (!metadataSkippedFiles.empty()) {
    help = "Likely already in Photos:\n" + nameList(metadataSkippedFiles) + "\n";
  }
  return help +
         "Matched by filename, capture time and dimensions, plus duration for videos. Camera originals were "
         "kept.";
}

std::string StatusReceipt::albumMessage(std::int64_t addedCount) {
  if (addedCount == 0) {
    return "Album up to date";
  }
  return countedInDigits(addedCount, "item", "items") + " added to album";
}

}  // namespace tolvander::app
