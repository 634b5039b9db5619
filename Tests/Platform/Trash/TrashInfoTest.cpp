#include "Platform/Linux/Trash/TrashInfo.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <optional>
#include <regex>
#include <string>

namespace tolvander::platform::linux_ {

TEST(TrashInfo, saysWhereAndWhenInTheFormThatFileManagersRead) {
  const std::string text = trashInfoText("DCIM/100CHRM/PICT0001.JPG", 1'700'000'000);
  EXPECT_TRUE(std::regex_match(text, std::regex("\\[Trash Info\\]\nPath=DCIM/100CHRM/PICT0001\\.JPG\n"
                                                "DeletionDate=2023-11-1[45]T\\d\\d:\\d\\d:\\d\\d\n")))
      << text;
  EXPECT_TRUE(isTrashInfo(text));
  EXPECT_FALSE(isTrashInfo("\xFF\xD8\xFF\xE0"));
}

TEST(TrashInfo, encodesWhatAURLCanNotShow) {
  const std::string text = trashInfoText("a b/100%/\xC3\xA4\n\xFF#?.JPG", 0);
  EXPECT_NE(text.find("Path=a%20b/100%25/%C3%A4%0A%FF%23%3F.JPG\n"), std::string::npos) << text;
}

TEST(TrashInfo, isReadAsItWasWritten) {
  const std::string path = "a b/100%/\xC3\xA4\n\xFF#?.JPG";
  const auto info = trashInfoFromText(trashInfoText(path, 1'700'000'000));
  ASSERT_TRUE(info);
  EXPECT_EQ(info->path, path);
  EXPECT_EQ(info->deletedAt, dateSince1970(1'700'000'000));
}

TEST(TrashInfo, isReadAsOtherProgramsWriteIt) {
  const auto info = trashInfoFromText(
      "[Trash Info]\nDeletionDate=2026-11-22T05:49:01\nX-Other=1\nPath=%2fhome/%e4\nPath=second\n");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->path, "/home/\xE4");
}

TEST(TrashInfo, isNoneWhereItIsDamaged) {
  const std::string date = "DeletionDate=2026-11-22T05:49:01\n";
  for (const std::string& text :
       {std::string(), std::string("[Trash Info]\n"), "[Trash Info]\n" + date, "Path=a\n" + date,
        std::string("[Trash Info]\nPath=a\n"), "[Trash Info]\nPath=\n" + date,
        "[Trash Info]\nPath=a%00b\n" + date, "[Trash Info]\nPath=%\n" + date,
        "[Trash Info]\nPath=%4\n" + date, "[Trash Info]\nPath=%4G\n" + date,
        std::string("[Trash Info]\nPath=a\nDeletionDate=2026-13-22T05:49:01\n"),
        std::string("[Trash Info]\nPath=a\nDeletionDate=yesterday\n")}) {
    EXPECT_EQ(trashInfoFromText(text), std::nullopt) << text;
  }
}

// Runs in a separate process, because a process reads its time zone only once.
[[noreturn]] void exitWithWhetherDeletedAt(const char* zone, const std::string& date, std::int64_t expected) {
  setenv("TZ", zone, 1);
  const auto info = trashInfoFromText("[Trash Info]\nPath=a\nDeletionDate=" + date + "\n");
  exit(info && info->deletedAt == dateSince1970(expected) ? 0 : 1);
}

TEST(TrashInfoDeathTest, takesTheLaterOfTwoInstantsThatTheClockShows) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto isRight = testing::ExitedWithCode(0);
  // Summer time ended on 2026-10-25 at 01:00 UTC: 02:30 was shown at 00:30 and at 01:30 UTC.
  EXPECT_EXIT(exitWithWhetherDeletedAt("Europe/Berlin", "2026-10-25T02:30:00", 1'792'891'800), isRight, "");
  EXPECT_EXIT(exitWithWhetherDeletedAt("Europe/Berlin", "2026-07-01T12:00:00", 1'782'900'000), isRight, "");
  EXPECT_EXIT(exitWithWhetherDeletedAt("Europe/Berlin", "2026-12-01T12:00:00", 1'796'122'800), isRight, "");
  EXPECT_EXIT(exitWithWhetherDeletedAt("UTC", "2026-12-01T12:00:00", 1'796'126'400), isRight, "");
}

TEST(TrashInfo, numbersTakenNamesBeforeTheExtension) {
  EXPECT_EQ(nameInTrash("PICT0001.JPG", 1), "PICT0001.JPG");
  EXPECT_EQ(nameInTrash("PICT0001.JPG", 2), "PICT0001.2.JPG");
  EXPECT_EQ(nameInTrash("PICT0001.JPG", 12), "PICT0001.12.JPG");
  EXPECT_EQ(nameInTrash("README", 2), "README.2");
  EXPECT_EQ(nameInTrash(".hidden", 2), ".hidden.2");
}

TEST(TrashInfo, cutsLongNamesSoThatTheInfoFilesNameFits) {
  constexpr std::size_t longest = NAME_MAX - trashInfoExtension.size();
  for (const std::string& name :
       {std::string(251, 'a') + ".JPG", "a." + std::string(253, 'b'), std::string(255, 'c')}) {
    for (const unsigned attempt : {1U, 2U, 10'000U}) {
      EXPECT_LE(nameInTrash(name, attempt).size(), longest);
    }
    EXPECT_NE(nameInTrash(name, 2), nameInTrash(name, 3));
  }
  EXPECT_TRUE(nameInTrash(std::string(251, 'a') + ".JPG", 1).ends_with("a.JPG"));
}

TEST(TrashInfo, cutsNoCharacterInTwo) {
  std::string name = "a";
  while (name.size() < 250) {
    name += "\xE6\xB5\xB7";  // the sea, in three bytes
  }
  for (const unsigned attempt : {1U, 2U, 10U, 100U}) {
    const std::string cut = nameInTrash(name + ".JPG", attempt);
    const std::size_t dot = cut.find('.');
    EXPECT_EQ(dot % 3, 1U) << cut;
  }
}

}  // namespace tolvander::platform::linux_
