#include "Shells/CommandLine/StandardDescriptors.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::shell {
namespace {

TEST(StandardDescriptors, areLeftAloneWhereTheyAreOpen) {
  const auto lowestFreeNumber = [] { return OwnedDescriptor(open("/dev/null", O_RDONLY)).number(); };
  const int before = lowestFreeNumber();
  openClosedStandardDescriptors();
  EXPECT_EQ(lowestFreeNumber(), before);
}

}  // namespace
}  // namespace tolvander::shell
