#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "access/access_decision.h"
#include "access/interface_names.h"
#include "caller_for_tests.h"
#include "names_for_tests.h"

namespace ktsvc::access {
namespace {

using testing::ElementsAre;

const KtGuid kTrace = *InterfaceFromText("trace");

AccessPolicy Policy(std::string_view text, bool allowRestart = false) {
  return AccessPolicy::Parse(text, "f", NamesForTests(), {allowRestart});
}

Caller Alice() {
  return CallerForTests::Peer("alice", 1000, {{1000, "alice"}, {6, "disk"}});
}

TEST(Explain, ConsidersEveryLineInTheOrderOfTheFileAndThenTheRules) {
  const AccessPolicy policy = Policy(
      "control trace * * observer\n"
      "user alice observer\n"
      "group disk operator\n"
      "token ci admin\n"
      "control trace * 11005 admin\n"
      "control disk * * admin\n"
      "group root admin\n"
      "user bob admin\n");
  EXPECT_THAT(
      Explain(policy, Alice(), Action::SendControl(kTrace, 0, 11005)).Text(),
      ElementsAre(
          "  f:2  user alice observer  - applies: another line gives the caller as much or more",
          "* f:3  group disk operator  - applies: gives the caller operator",
          "  f:4  token ci admin  - does not apply: the caller did not show this token",
          "  f:7  group root admin  - does not apply: the caller is not in this group",
          "  f:8  user bob admin  - does not apply: the caller is another",
          "  f:1  control trace * * observer  - applies: another line is closer to this control",
          "* f:5  control trace * 11005 admin  - applies: sets what is needed to admin",
          "  f:6  control disk * * admin  - does not apply: it is about another control",
          "  default  to send control needs operator  - applies: a control line says otherwise",
          "user alice (1000) may not send control 11005, selector 0, through interface trace: that "
          "needs admin by f:5, and f:3 gives operator."));
}

TEST(Explain, SaysThatNoLineNamesTheCaller) {
  EXPECT_THAT(
      Explain(Policy("user bob admin\n"), Alice(), Action::Read()).Text(),
      ElementsAre("  f:1  user bob admin  - does not apply: the caller is another",
                  "* default  whoever no line names holds no role  - applies: no line names the "
                  "caller",
                  "* default  to read needs observer  - applies: sets what is needed to observer",
                  "user alice (1000) may not read: that needs observer, and no line of f gives "
                  "user alice (1000) a role."));
}

TEST(Explain, SaysWhyARestartIsRefused) {
  const Explanation explanation =
      Explain(Policy("user alice admin\ncontrol system 0 11001 operator\n"), Alice(),
              Action::SendControl(kSystemInterface, 0, 11001));
  EXPECT_FALSE(explanation.decision.allowed);
  EXPECT_EQ(explanation.decision.decidedBy, "default");
  std::vector<std::string> text = explanation.Text();
  text.pop_back();
  EXPECT_THAT(
      text,
      ElementsAre(
          "* f:1  user alice admin  - applies: gives the caller admin",
          "  f:2  control system 0 11001 operator  - applies: a restart needs admin all the same",
          "  default  to send control needs operator  - applies: a restart needs more",
          "* default  to restart the machine needs admin  - applies: sets what is needed to admin",
          "* default  the service restarts the machine only with --allow-restart  - applies: it "
          "was started without it"));
}

TEST(Explain, SaysThatTheServiceWasStartedToAllowARestart) {
  const Explanation explanation =
      Explain(Policy("user alice admin\ncontrol reboot * * admin\n", true), Alice(),
              Action::SendControl(kRebootInterface, 0, 11001));
  EXPECT_TRUE(explanation.decision.allowed);
  EXPECT_EQ(explanation.decision.decidedBy, "f:2");
  ASSERT_EQ(explanation.lines.size(), 5U);
  EXPECT_TRUE(explanation.lines[1].decides);
  EXPECT_EQ(explanation.lines[3].why, "a control line says the same");
  EXPECT_FALSE(explanation.lines[3].decides);
  EXPECT_EQ(explanation.lines[4].why, "it was started with it");
  EXPECT_FALSE(explanation.lines[4].decides);
}

TEST(Explain, ShowsTheLinesOfTheDefaultPolicy) {
  EXPECT_THAT(Explain(AccessPolicy::Default(990), Alice(), Action::Read()).Text(),
              ElementsAre("  default  user 0 admin  - does not apply: the caller is another",
                          "  default  user 990 admin  - does not apply: the caller is another",
                          testing::StartsWith("* default  whoever no line names holds no role"),
                          testing::StartsWith("* default  to read needs observer"),
                          testing::HasSubstr("may not read")));
}

TEST(Explain, SaysThatControlLinesDoNotMatterToOtherActions) {
  const Explanation explanation =
      Explain(Policy("user alice admin\ncontrol trace * * admin\n"), Alice(), Action::RaiseEvent());
  EXPECT_EQ(explanation.lines[1].why, "no control is asked for");
  EXPECT_FALSE(explanation.lines[1].applies);
}

}  // namespace
}  // namespace ktsvc::access
