#include "walk/destructive.h"

#include <gtest/gtest.h>

#include "access/interface_names.h"
#include "cli/known_controls.h"

namespace walk {
namespace {

TEST(DestructiveList, HasEveryControlThatRestartsTheMachine) {
  for (const ktctl::KnownControl& control : ktctl::kKnownControls) {
    const auto id = ktsvc::access::InterfaceFromText(control.interface);
    ASSERT_TRUE(id);
    const std::string body = R"({"code":)" + std::to_string(control.code) + "}";
    EXPECT_EQ(FindDestructive(body) != nullptr, ktsvc::access::IsRestart(*id, control.code))
        << control.interface << " " << control.name;
  }
}

TEST(DestructiveList, FindsItsTextsAnywhereInABody) {
  EXPECT_NE(FindDestructive(R"({"code": 11001 })"), nullptr);
  EXPECT_NE(FindDestructive(R"({"name":"event.qelm.dom.initialization.ktsvc.complete"})"), nullptr);
  EXPECT_EQ(FindDestructive(R"({"name":"event.walk.7"})"), nullptr);
  EXPECT_EQ(FindDestructive(""), nullptr);
}

}  // namespace
}  // namespace walk
