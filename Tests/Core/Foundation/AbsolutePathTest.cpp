#include "TolvanderCore/Foundation/AbsolutePath.h"

#include <gtest/gtest.h>

#include <string>

namespace tolvander::tests {

TEST(AbsolutePath, isTakenAsItIsSpelt) {
  EXPECT_EQ(urlOfAbsolutePath("/media/CARD/../x//"), FileURL("/media/CARD/../x//"));
  EXPECT_EQ(urlOfAbsolutePath("/"), FileURL("/"));
}

TEST(AbsolutePath, isNoneThatIsRelativeOrEmptyOrWouldEndEarly) {
  for (const std::string& path : {std::string(), std::string("DCIM/PICT0001.JPG"), std::string("../x"),
                                  std::string("/media/CARD\0/etc", 16), std::string("\0", 1)}) {
    EXPECT_EQ(urlOfAbsolutePath(path), std::nullopt) << path;
  }
}

}  // namespace tolvander::tests
