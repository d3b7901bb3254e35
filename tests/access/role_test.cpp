#include "access/role.h"

#include <gtest/gtest.h>

namespace ktsvc::access {
namespace {

TEST(Role, IsOrderedFromNoneToAdmin) {
  EXPECT_LT(Role::kNone, Role::kObserver);
  EXPECT_LT(Role::kObserver, Role::kOperator);
  EXPECT_LT(Role::kOperator, Role::kAdmin);
}

TEST(RoleFromName, ReadsBackEveryNameThatAFileCanGive) {
  for (const Role role : {Role::kObserver, Role::kOperator, Role::kAdmin}) {
    EXPECT_EQ(RoleFromName(RoleName(role)), role);
  }
}

TEST(RoleFromName, RefusesOtherWords) {
  for (const char* word : {"", "none", "Admin", "ADMIN", "root", "operators", "observer ", "*"}) {
    EXPECT_FALSE(RoleFromName(word)) << word;
  }
}

}  // namespace
}  // namespace ktsvc::access
