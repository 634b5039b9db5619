#include "Platform/Linux/TrashInfo.h"

#include <gtest/gtest.h>

#include <climits>
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
