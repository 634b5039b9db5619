#include "TolvanderApp/Presentation/CleanupText.h"

#include <cstdint>

#include "TolvanderCore/Counted.h"

namespace tolvander::app::CleanupText {

namespace {

std::string wereDeleted(std::size_t count) {
  return files(count) + (count == 1 ? " was" : " were") + " permanently deleted; ";
}

std::string remainingFiles(const SystemNames& names) {
  return " Remaining files are still in " + names.trash + " and can be managed in " + names.fileManager + ".";
}

}  // namespace

std::string files(std::size_t count, const std::string& kind) {
  return countedInDigits(static_cast<std::int64_t>(count), kind, kind + "s");
}

Alert moveQuestion(std::size_t count, const std::string& deviceName, const SystemNames& names) {
  return {.style = Alert::Style::informational,
          .message = "Move " + files(count, "synced file") + " to " + names.trash + "?",
          .informativeText = "Files from “" + deviceName + "” can be restored in " + names.fileManager +
                             " until " + names.shortTrash + " is emptied. Keep on Camera changes nothing.",
          .buttons = {"Move to Trash", "Keep on Camera"}};
}

Alert deleteQuestion(std::size_t count, const std::string& deviceName, const SystemNames& names) {
  return {.style = Alert::Style::critical,
          .message = "Permanently delete " + files(count, "trashed file") + "?",
          .informativeText = "Only files Tolvander moved from “" + deviceName +
                             "” will be deleted. Other items in " + names.trash +
                             " are untouched. This cannot be undone.",
          .buttons = {"Clear Trash", "Cancel"}};
}

std::string recoveryNeeded(std::size_t count, const SystemNames& names) {
  return files(count) + (count == 1 ? " is" : " are") + " in " + names.trash +
         " but could not be safely tracked. Restore " + (count == 1 ? "it" : "them") + " with " +
         names.fileManager + ". The camera was not automatically ejected.";
}

std::string notAllMoved(const SystemNames& names) {
  return "Some synced files could not be moved to " + names.trash +
         ". The camera was not automatically ejected.";
}

std::string movedButNotRecorded(std::size_t remaining, const SystemNames& names) {
  const std::string text = "Cleanup history could not be saved. ";
  if (remaining == 0) {
    return text + "Moved files were restored to the camera; cleanup stopped.";
  }
  return text + files(remaining) + (remaining == 1 ? " remains" : " remain") + " in " + names.trash +
         " and can be restored with " + names.fileManager + ". Cleanup stopped.";
}

std::string notAllDeleted(const SystemNames& names) {
  return "Some tracked files could not be cleared." + remainingFiles(names);
}

std::string deletedButNotRecorded(std::size_t deleted, const SystemNames& names) {
  return "Trash history could not be saved. " + wereDeleted(deleted) + "remaining files are still in " +
         names.trash + ". Manage remaining items in " + names.fileManager + " before retrying.";
}

std::string noLongerInLibrary(std::size_t deleted, const SystemNames& names) {
  const std::string text = "Some of these items no longer appear in Photos. ";
  if (deleted == 0) {
    return text + "Nothing was permanently deleted; keep the copies in " + names.shortTrash +
           " or restore them in " + names.fileManager + ".";
  }
  return text + wereDeleted(deleted) + "keep the remaining copies in " + names.shortTrash +
         " or restore them in " + names.fileManager + ".";
}

std::string notAllRestored(const SystemNames& names) {
  return "Some tracked files could not be restored." + remainingFiles(names);
}

}  // namespace tolvander::app::CleanupText
