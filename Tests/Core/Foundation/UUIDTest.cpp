#include "TolvanderCore/Foundation/UUID.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <unordered_set>

namespace tolvander::tests {

TEST(UUID, writesUpperCaseInGroups) {
  UUID uuid;
  for (std::size_t index = 0; index < uuid.bytes.size(); ++index) {
    uuid.bytes[index] = static_cast<std::uint8_t>(index * 17);
  }
  EXPECT_EQ(uuid.text(), "00112233-4455-6677-8899-AABBCCDDEEFF");
  EXPECT_EQ(UUID().text(), "00000000-0000-0000-0000-000000000000");
}

TEST(UUID, readsEitherCase) {
  const auto upper = UUID::fromText("00112233-4455-6677-8899-AABBCCDDEEFF");
  ASSERT_TRUE(upper);
  EXPECT_EQ(upper->text(), "00112233-4455-6677-8899-AABBCCDDEEFF");
  EXPECT_EQ(UUID::fromText("00112233-4455-6677-8899-aabbCCddeeff"), upper);
}

TEST(UUID, refusesEveryOtherForm) {
  for (const std::string_view text :
       {"", "00112233-4455-6677-8899-AABBCCDDEEF", "00112233-4455-6677-8899-AABBCCDDEEFF0",
        "00112233445566778899AABBCCDDEEFF", "{00112233-4455-6677-8899-AABBCCDDEEFF}",
        "0011223-34455-6677-8899-AABBCCDDEEFF", "00112233-4455-6677-8899-AABBCCDDEEFG",
        "00112233_4455_6677_8899_AABBCCDDEEFF", " 0112233-4455-6677-8899-AABBCCDDEEFF",
        "00112233-4455-6677-8899-AABBCCDDEE\xC3\x84", "001122334-455-6677-8899-AABBCCDDEEFF",
        "@0112233-4455-6677-8899-AABBCCDDEEFF", "`0112233-4455-6677-8899-AABBCCDDEEFF"}) {
    EXPECT_FALSE(UUID::fromText(text)) << text;
  }
}

TEST(UUID, isRandomInVersion4) {
  std::unordered_set<UUID> seen;
  for (int count = 0; count < 1'000; ++count) {
    const UUID uuid = UUID::random();
    const std::string text = uuid.text();
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string_view("89AB").find(text[19]), std::string_view::npos) << text;
    EXPECT_EQ(UUID::fromText(text), uuid);
    EXPECT_TRUE(seen.insert(uuid).second) << text;
  }
}

TEST(UUID, isOrderedByItsBytes) {
  EXPECT_LT(UUID::fromText("00112233-4455-6677-8899-AABBCCDDEEFE"),
            UUID::fromText("00112233-4455-6677-8899-AABBCCDDEEFF"));
  EXPECT_LT(UUID::fromText("0FFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF"),
            UUID::fromText("F0000000-0000-0000-0000-000000000000"));
}

}  // namespace tolvander::tests
