#include "TolvanderApp/Permissions/LaunchAtLoginService.h"

#include <gtest/gtest.h>

#include <vector>

#include "Tests/Support/Doubles/TestApplication.h"

namespace tolvander::tests {

namespace LaunchAtLoginService = app::LaunchAtLoginService;
using app::LoginItemStatus;

namespace {

constexpr LoginItemStatus allStatuses[] = {LoginItemStatus::notRegistered, LoginItemStatus::enabled,
                                           LoginItemStatus::requiresApproval, LoginItemStatus::notFound};

bool isOn(LoginItemStatus status) {
  return status == LoginItemStatus::enabled || status == LoginItemStatus::requiresApproval;
}

}  // namespace

TEST(LaunchAtLoginService, isOnAlsoWhileTheUsersApprovalIsMissing) {
  for (const LoginItemStatus status : allStatuses) {
    EXPECT_EQ(LaunchAtLoginService::isOn(status), isOn(status));
  }
}

TEST(LaunchAtLoginService, registersTheItemUnlessItIsEnabled) {
  for (const LoginItemStatus status : allStatuses) {
    TestLoginItem item;
    item.currentStatus = status;
    EXPECT_EQ(LaunchAtLoginService::setEnabled(item, true), nullptr);
    EXPECT_EQ(item.changes,
              status == LoginItemStatus::enabled ? std::vector<bool>{} : std::vector<bool>{true});
  }
}

TEST(LaunchAtLoginService, removesTheItemWhereItIsOn) {
  for (const LoginItemStatus status : allStatuses) {
    TestLoginItem item;
    item.currentStatus = status;
    EXPECT_EQ(LaunchAtLoginService::setEnabled(item, false), nullptr);
    EXPECT_EQ(item.changes, isOn(status) ? std::vector<bool>{false} : std::vector<bool>{});
  }
}

TEST(LaunchAtLoginService, removesTheOlderFormBeforeItRegisters) {
  TestLoginItem item;
  item.currentOlderStatus = LoginItemStatus::enabled;
  item.fails = true;
  EXPECT_ANY_THROW(LaunchAtLoginService::setEnabled(item, true));
  EXPECT_EQ(item.olderRemovals, 1);
}

TEST(LaunchAtLoginService, removesTheOlderFormInBothDirections) {
  for (const bool enabled : {false, true}) {
    for (const LoginItemStatus status : allStatuses) {
      TestLoginItem item;
      item.currentStatus = LoginItemStatus::enabled;  // also where there is nothing to register
      item.currentOlderStatus = status;
      EXPECT_EQ(LaunchAtLoginService::setEnabled(item, enabled), nullptr);
      EXPECT_EQ(item.olderRemovals, isOn(status) ? 1 : 0);
    }
  }
}

TEST(LaunchAtLoginService, registersTheItemAlsoWhereTheOlderFormStays) {
  TestLoginItem item;
  item.currentOlderStatus = LoginItemStatus::enabled;
  item.olderFails = true;
  const std::exception_ptr keptBack = LaunchAtLoginService::setEnabled(item, true);
  EXPECT_EQ(item.changes, std::vector{true});
  ASSERT_NE(keptBack, nullptr);
  EXPECT_THROW(std::rethrow_exception(keptBack), CocoaError);
}

TEST(LaunchAtLoginService, throwsWhereTheItemCannotBeRegistered) {
  TestLoginItem item;
  item.fails = true;
  EXPECT_THROW(LaunchAtLoginService::setEnabled(item, true), CocoaError);
}

TEST(LaunchAtLoginService, triesToRemoveBothFormsBeforeItThrows) {
  for (const bool itemFails : {false, true}) {
    TestLoginItem item;
    item.currentStatus = LoginItemStatus::enabled;
    item.currentOlderStatus = LoginItemStatus::requiresApproval;
    item.fails = itemFails;
    item.olderFails = true;
    try {
      LaunchAtLoginService::setEnabled(item, false);
      FAIL() << "nothing was thrown";
    } catch (const CocoaError& error) {  // the first failure
      EXPECT_EQ(error.code(), static_cast<std::int64_t>(itemFails ? CocoaError::Code::fileReadNoPermission
                                                                  : CocoaError::Code::fileReadUnknown));
    }
    EXPECT_EQ(item.changes, std::vector{false});
    EXPECT_EQ(item.olderRemovals, 1);
  }
}

}  // namespace tolvander::tests
