#include "TolvanderApp/Presentation/CleanupText.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Tests/Support/Fixtures/KnownSystems.h"

namespace tolvander::tests {

namespace text = app::CleanupText;

namespace {

struct Sentence {
  std::function<std::string(const SystemNames&)> of;
  std::string onMacOS;
  std::string onLinux;
};

std::ostream& operator<<(std::ostream& stream, const Sentence& sentence) {
  return stream << sentence.onMacOS;
}

class CleanupTexts : public testing::TestWithParam<Sentence> {};

std::vector<Sentence> allSentences() {
  using Names = SystemNames;
  return {
      {[](const Names& names) { return text::moveQuestion(1, "CARD", names).message; },
       "Move 1 synced file to macOS Trash?", "Move 1 synced file to the Trash?"},
      {[](const Names& names) { return text::moveQuestion(3, "CARD", names).message; },
       "Move 3 synced files to macOS Trash?", "Move 3 synced files to the Trash?"},
      {[](const Names& names) { return text::moveQuestion(3, "CARD", names).informativeText; },
       "Files from “CARD” can be restored in Finder until Trash is emptied. Keep on Camera changes nothing.",
       "Files from “CARD” can be restored in your file manager until the Trash is emptied. Keep on Camera "
       "changes "
       "nothing."},
      {[](const Names& names) { return text::deleteQuestion(1, "CARD", names).message; },
       "Permanently delete 1 trashed file?", "Permanently delete 1 trashed file?"},
      {[](const Names& names) { return text::deleteQuestion(2, "CARD", names).informativeText; },
       "Only files Tolvander moved from “CARD” will be deleted. Other items in macOS Trash are untouched. "
       "This "
       "cannot be undone.",
       "Only files Tolvander moved from “CARD” will be deleted. Other items in the Trash are untouched. This "
       "cannot be undone."},

      {[](const Names& names) { return text::recoveryNeeded(1, names); },
       "1 file is in macOS Trash but could not be safely tracked. Restore it with Finder. The camera was not "
       "automatically ejected.",
       "1 file is in the Trash but could not be safely tracked. Restore it with your file manager. The "
       "camera "
       "was not automatically ejected."},
      {[](const Names& names) { return text::recoveryNeeded(2, names); },
       "2 files are in macOS Trash but could not be safely tracked. Restore them with Finder. The camera was "
       "not automatically ejected.",
       "2 files are in the Trash but could not be safely tracked. Restore them with your file manager. The "
       "camera was not automatically ejected."},
      {[](const Names& names) { return text::notAllMoved(names); },
       "Some synced files could not be moved to macOS Trash. The camera was not automatically ejected.",
       "Some synced files could not be moved to the Trash. The camera was not automatically ejected."},

      {[](const Names& names) { return text::movedButNotRecorded(0, names); },
       "Cleanup history could not be saved. Moved files were restored to the camera; cleanup stopped.",
       "Cleanup history could not be saved. Moved files were restored to the camera; cleanup stopped."},
      {[](const Names& names) { return text::movedButNotRecorded(1, names); },
       "Cleanup history could not be saved. 1 file remains in macOS Trash and can be restored with Finder. "
       "Cleanup stopped.",
       "Cleanup history could not be saved. 1 file remains in the Trash and can be restored with your file "
       "manager. Cleanup stopped."},
      {[](const Names& names) { return text::movedButNotRecorded(2, names); },
       "Cleanup history could not be saved. 2 files remain in macOS Trash and can be restored with Finder. "
       "Cleanup stopped.",
       "Cleanup history could not be saved. 2 files remain in the Trash and can be restored with your file "
       "manager. Cleanup stopped."},

      {[](const Names& names) { return text::notAllDeleted(names); },
       "Some tracked files could not be cleared. Remaining files are still in macOS Trash and can be managed "
       "in Finder.",
       "Some tracked files could not be cleared. Remaining files are still in the Trash and can be managed "
       "in "
       "your file manager."},
      {[](const Names& names) { return text::deletedButNotRecorded(1, names); },
       "Trash history could not be saved. 1 file was permanently deleted; remaining files are still in macOS "
       "Trash. Manage remaining items in Finder before retrying.",
       "Trash history could not be saved. 1 file was permanently deleted; remaining files are still in the "
       "Trash. Manage remaining items in your file manager before retrying."},
      {[](const Names& names) { return text::deletedButNotRecorded(0, names); },
       "Trash history could not be saved. 0 files were permanently deleted; remaining files are still in "
       "macOS Trash. Manage remaining items in Finder before retrying.",
       "Trash history could not be saved. 0 files were permanently deleted; remaining files are still in the "
       "Trash. Manage remaining items in your file manager before retrying."},

      {[](const Names& names) { return text::noLongerInLibrary(0, names); },
       "Some of these items no longer appear in Photos. Nothing was permanently deleted; keep the copies in "
       "Trash or restore them in Finder.",
       "Some of these items no longer appear in Photos. Nothing was permanently deleted; keep the copies in "
       "the Trash or restore them in your file manager."},
      {[](const Names& names) { return text::noLongerInLibrary(1, names); },
       "Some of these items no longer appear in Photos. 1 file was permanently deleted; keep the remaining "
       "copies in Trash or restore them in Finder.",
       "Some of these items no longer appear in Photos. 1 file was permanently deleted; keep the remaining "
       "copies in the Trash or restore them in your file manager."},
      {[](const Names& names) { return text::noLongerInLibrary(2, names); },
       "Some of these items no longer appear in Photos. 2 files were permanently deleted; keep the remaining "
       "copies in Trash or restore them in Finder.",
       "Some of these items no longer appear in Photos. 2 files were permanently deleted; keep the remaining "
       "copies in the Trash or restore them in your file manager."},

      {[](const Names& names) { return text::notAllRestored(names); },
       "Some tracked files could not be restored. Remaining files are still in macOS Trash and can be "
       "managed "
       "in Finder.",
       "Some tracked files could not be restored. Remaining files are still in the Trash and can be managed "
       "in your file manager."},
  };
}

}  // namespace

TEST_P(CleanupTexts, nameTheTrashAndTheFileManagerOfTheSystem) {
  EXPECT_EQ(GetParam().of(macOS), GetParam().onMacOS);
  EXPECT_EQ(GetParam().of(linuxDesktop), GetParam().onLinux);
}

INSTANTIATE_TEST_SUITE_P(All, CleanupTexts, testing::ValuesIn(allSentences()));

TEST(CleanupText, putsTheHarmlessButtonLast) {
  EXPECT_EQ(text::moveQuestion(1, "CARD", macOS).buttons,
            (std::vector<std::string>{"Move to Trash", "Keep on Camera"}));
  EXPECT_EQ(text::deleteQuestion(1, "CARD", macOS).buttons,
            (std::vector<std::string>{"Clear Trash", "Cancel"}));
}

}  // namespace tolvander::tests
