#include "TolvanderApp/Presentation/ReviewWording.h"

#include <vector>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

// Also the files that the user has left out are supported and not known to be in the library.
bool isAllInLibrary(const ReviewCounts& counts) {
  return counts.inLibrary > 0 && counts.likelyDuplicates == 0 && counts.importable() == 0 &&
         counts.isComplete() && counts.setAside == 0;
}

std::vector<std::string> kindsFound(const ReviewCounts& counts) {
  std::vector<std::string> kinds;
  const auto add = [&kinds](std::int64_t count, std::string_view one, std::string_view more) {
    if (count > 0) {
      kinds.push_back(counted(count, one, more));
    }
  };
  add(counts.inLibrary, "in Photos", "in Photos");
  add(counts.likelyDuplicates, "likely duplicate", "likely duplicates");
  add(counts.missing, "missing", "missing");
  add(counts.unchecked + counts.interrupted, "needs review", "need review");
  add(counts.newFiles, "new", "new");
  return kinds;
}

}  // namespace

std::string verificationCounts(const ReviewCounts& counts) {
  if (isAllInLibrary(counts)) {
    return counts.inLibrary == 1 ? "The camera item is in Photos"
                                 : "All " + numberText(counts.inLibrary) + " camera items are in Photos";
  }
  const std::vector<std::string> kinds = kindsFound(counts);
  if (!kinds.empty()) {
    return joinedWithDots(kinds);
  }
  return counts.setAside > 0 ? counted(counts.setAside, "file is set aside", "files are set aside")
                             : "No supported files on camera";
}

std::string needsCheckingText(std::int64_t count) {
  return counted(count, "file still needs checking", "files still need checking");
}

std::string cutShortText(std::int64_t count) {
  return counted(count, "import was cut short", "imports were cut short");
}

std::string cutShortAdvice(std::int64_t count) {
  return count == 1 ? "The next sync finishes it." : "The next sync finishes them.";
}

std::string recoveryText(std::int64_t count) {
  return counted(count, "interrupted import needs recovery", "interrupted imports need recovery");
}

std::string recoveryAdvice() {
  return "Automatic retry is paused to prevent duplicates. Keep the camera originals until these imports are "
         "recovered.";
}

}  // namespace tolvander::app
