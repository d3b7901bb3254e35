#include "access/access_decision.h"

#include <gtest/gtest.h>

#include "access/interface_names.h"
#include "caller_for_tests.h"
#include "names_for_tests.h"

namespace ktsvc::access {
namespace {

const KtGuid kTrace = *InterfaceFromText("trace");
const KtGuid kDisk = *InterfaceFromText("disk");

AccessPolicy Policy(std::string_view text, bool allowRestart = false) {
  return AccessPolicy::Parse(text, "f", NamesForTests(), {allowRestart});
}

Caller Alice() {
  return CallerForTests::Peer("alice", 1000, {{1000, "alice"}, {6, "disk"}});
}
Caller Bob() {
  return CallerForTests::Peer("bob", 1001, {{1001, "bob"}});
}
Caller Root() {
  return CallerForTests::Peer("root", 0, {{0, "root"}});
}
Caller Ci() {
  return CallerForTests::Token("ci");
}

const std::vector<Action>& AllActions() {
  static const std::vector<Action> actions{
      Action::Read(),       Action::SendControl(kTrace, 0, 11005),
      Action::RaiseEvent(), Action::SetTraceLevel(),
      Action::Admin(),
  };
  return actions;
}

TEST(Decide, RefusesACallerWhomNoLineNamesEverything) {
  for (const char* text : {"", "user alice admin", "group disk admin\ntoken ci admin"}) {
    const AccessPolicy policy = Policy(text, true);
    for (const Action& action : AllActions()) {
      const Decision decision = Decide(policy, Bob(), action);
      EXPECT_FALSE(decision.allowed) << decision.sentence;
      EXPECT_EQ(decision.status, 0x80070005U);
      EXPECT_EQ(decision.held, Role::kNone);
      EXPECT_EQ(decision.decidedBy, "default");
    }
  }
}

TEST(Decide, NeedsTheRoleOfEachAction) {
  struct Row {
    Action action;
    Role needed;
  };
  for (const Row& row :
       {Row{Action::Read(), Role::kObserver},
        Row{Action::SendControl(kDisk, 0, 1), Role::kOperator},
        Row{Action::RaiseEvent(), Role::kOperator}, Row{Action::SetTraceLevel(), Role::kOperator},
        Row{Action::Admin(), Role::kAdmin}}) {
    for (const Role role : {Role::kObserver, Role::kOperator, Role::kAdmin}) {
      const Decision decision =
          Decide(Policy("user alice " + std::string(RoleName(role))), Alice(), row.action);
      EXPECT_EQ(decision.needed, row.needed) << decision.sentence;
      EXPECT_EQ(decision.held, role) << decision.sentence;
      EXPECT_EQ(decision.allowed, role >= row.needed) << decision.sentence;
      EXPECT_EQ(decision.status, decision.allowed ? 0U : 0x80070005U) << decision.sentence;
      EXPECT_EQ(decision.decidedBy, "f:1");
      EXPECT_EQ(decision.heldBy, "f:1");
      EXPECT_EQ(decision.neededBy, "default");
    }
  }
}

TEST(Decide, KnowsAUserByNameAndByNumber) {
  EXPECT_TRUE(Decide(Policy("user alice observer"), Alice(), Action::Read()).allowed);
  EXPECT_TRUE(Decide(Policy("user 1000 observer"), Alice(), Action::Read()).allowed);
  EXPECT_FALSE(Decide(Policy("user 1001 observer"), Alice(), Action::Read()).allowed);
  EXPECT_FALSE(Decide(Policy("user alic observer"), Alice(), Action::Read()).allowed);
}

TEST(Decide, GivesANameWithoutANumberNothingToAnotherPersonsNumber) {
  // The number 1000 has passed from alice to somebody else.
  const Caller other = CallerForTests::Peer("mallory", 1000, {{1000, "mallory"}});
  EXPECT_FALSE(Decide(Policy("user alice admin"), other, Action::Read()).allowed);
}

TEST(Decide, KnowsACallerWithoutANameByNumberAlone) {
  const Caller nameless = CallerForTests::Peer("", 4711, {{4712, ""}});
  EXPECT_TRUE(Decide(Policy("user 4711 observer"), nameless, Action::Read()).allowed);
  EXPECT_TRUE(Decide(Policy("group 4712 observer"), nameless, Action::Read()).allowed);
  EXPECT_FALSE(
      Decide(Policy("user alice admin\ngroup disk admin"), nameless, Action::Read()).allowed);
}

TEST(Decide, KnowsAGroupByNameAndByNumberWhetherPrimaryOrNot) {
  for (const char* text :
       {"group disk observer", "group 6 observer", "group alice observer", "group 1000 observer"}) {
    EXPECT_TRUE(Decide(Policy(text), Alice(), Action::Read()).allowed) << text;
    EXPECT_FALSE(Decide(Policy(text), Bob(), Action::Read()).allowed) << text;
  }
}

TEST(Decide, TellsUsersGroupsAndTokensOfOneNameApart) {
  const Caller token = CallerForTests::Token("alice");
  EXPECT_FALSE(
      Decide(Policy("user alice admin\ngroup alice admin"), token, Action::Read()).allowed);
  EXPECT_FALSE(Decide(Policy("token alice admin"), Alice(), Action::Read()).allowed);
  EXPECT_FALSE(Decide(Policy("user disk admin"), Alice(), Action::Read()).allowed);
  EXPECT_TRUE(Decide(Policy("token alice admin"), token, Action::Read()).allowed);
}

TEST(Decide, DoesNotTakeATokenForTheUserWithNumberZero) {
  EXPECT_FALSE(Decide(Policy("user 0 admin\ngroup 0 admin"), Ci(), Action::Read()).allowed);
  EXPECT_FALSE(Decide(AccessPolicy::Default(0), Ci(), Action::Read()).allowed);
}

TEST(Decide, HoldsTheHighestRoleOfAllMatchingLinesInWhateverOrder) {
  for (const char* text : {"user alice observer\ngroup disk admin\nuser 1000 operator\n",
                           "group disk admin\nuser alice observer\nuser 1000 operator\n",
                           "user 1000 operator\nuser alice observer\ngroup disk admin\n"}) {
    EXPECT_EQ(Decide(Policy(text), Alice(), Action::Read()).held, Role::kAdmin) << text;
  }
}

TEST(Decide, NamesTheFirstLineThatGivesTheHeldRole) {
  EXPECT_EQ(Decide(Policy("user alice observer\ngroup disk admin\ngroup 6 admin\n"), Alice(),
                   Action::Read())
                .decidedBy,
            "f:2");
}

TEST(Decide, LetsAControlLineRaiseWhatIsNeeded) {
  const AccessPolicy policy = Policy("user alice operator\ncontrol trace 0 11005 admin\n");
  const Decision decision = Decide(policy, Alice(), Action::SendControl(kTrace, 0, 11005));
  EXPECT_FALSE(decision.allowed);
  EXPECT_EQ(decision.needed, Role::kAdmin);
  EXPECT_EQ(decision.neededBy, "f:2");
  EXPECT_EQ(decision.heldBy, "f:1");
  EXPECT_EQ(decision.decidedBy, "f:2");
  EXPECT_TRUE(Decide(policy, Alice(), Action::SendControl(kTrace, 1, 11005)).allowed);
  EXPECT_TRUE(Decide(policy, Alice(), Action::SendControl(kTrace, 0, 11006)).allowed);
  EXPECT_TRUE(Decide(policy, Alice(), Action::SendControl(kDisk, 0, 11005)).allowed);
}

TEST(Decide, LetsAControlLineLowerWhatIsNeeded) {
  const AccessPolicy policy = Policy("user alice observer\ncontrol trace 0 11005 observer\n");
  const Decision decision = Decide(policy, Alice(), Action::SendControl(kTrace, 0, 11005));
  EXPECT_TRUE(decision.allowed);
  EXPECT_EQ(decision.status, 0U);
  EXPECT_EQ(decision.decidedBy, "f:2");
}

TEST(Decide, RefusesACallerWithoutARoleEvenWhereAControlLineAsksForLittle) {
  const Decision decision = Decide(Policy("control trace 0 11005 observer\n"), Bob(),
                                   Action::SendControl(kTrace, 0, 11005));
  EXPECT_FALSE(decision.allowed);
  EXPECT_EQ(decision.decidedBy, "default");
  EXPECT_EQ(decision.neededBy, "f:1");
}

TEST(Decide, DoesNotApplyControlLinesToOtherActions) {
  const AccessPolicy policy = Policy("user alice operator\ncontrol trace * * admin\n");
  EXPECT_TRUE(Decide(policy, Alice(), Action::SetTraceLevel()).allowed);
  EXPECT_TRUE(Decide(policy, Alice(), Action::RaiseEvent()).allowed);
  EXPECT_TRUE(Decide(policy, Alice(), Action::Read()).allowed);
}

TEST(Decide, FollowsTheClosestControlLineInWhateverOrder) {
  std::vector<std::string> lines{"control trace 7 9 admin", "control trace * 9 observer",
                                 "control trace 7 * operator", "control trace * * admin"};
  struct Row {
    std::uint32_t selector, code;
    const char* line;
  };
  std::sort(lines.begin(), lines.end());
  do {
    const std::string text =
        "user root admin\n" + lines[0] + "\n" + lines[1] + "\n" + lines[2] + "\n" + lines[3] + "\n";
    const AccessPolicy policy = Policy(text);
    for (const Row& row :
         {Row{7, 9, "control trace 7 9 admin"}, Row{8, 9, "control trace * 9 observer"},
          Row{7, 8, "control trace 7 * operator"}, Row{8, 8, "control trace * * admin"}}) {
      const Decision decision =
          Decide(policy, Root(), Action::SendControl(kTrace, row.selector, row.code));
      const auto at = std::find(lines.begin(), lines.end(), row.line) - lines.begin();
      EXPECT_EQ(decision.neededBy, "f:" + std::to_string(at + 2)) << text << decision.sentence;
    }
  } while (std::next_permutation(lines.begin(), lines.end()));
}

TEST(DecideRestart, IsRefusedToEveryoneUnlessTheServiceWasStartedToAllowIt) {
  const AccessPolicy policy = Policy("user root admin\nuser alice operator\n", false);
  for (const KtGuid& interface : {kSystemInterface, kRebootInterface}) {
    for (const Caller& caller : {Root(), Alice(), Bob()}) {
      const Decision decision = Decide(policy, caller, Action::SendControl(interface, 0, 11001));
      EXPECT_FALSE(decision.allowed);
      EXPECT_EQ(decision.status, 0x80070005U);
      EXPECT_NE(decision.sentence.find("without --allow-restart"), std::string::npos);
    }
  }
}

TEST(DecideRestart, IsAllowedToAnAdminOfAServiceThatWasStartedToAllowIt) {
  const AccessPolicy policy = Policy("user root admin\nuser alice operator\n", true);
  for (const KtGuid& interface : {kSystemInterface, kRebootInterface}) {
    EXPECT_TRUE(Decide(policy, Root(), Action::SendControl(interface, 0, 11001)).allowed);
    EXPECT_FALSE(Decide(policy, Alice(), Action::SendControl(interface, 0, 11001)).allowed);
    EXPECT_FALSE(Decide(policy, Bob(), Action::SendControl(interface, 0, 11001)).allowed);
  }
}

TEST(DecideRestart, NeedsAdminWhateverAControlLineSays) {
  for (const char* line : {"control system 0 11001 observer", "control system * 11001 operator",
                           "control system 0 * observer", "control system * * operator"}) {
    const AccessPolicy policy =
        Policy("user alice operator\nuser root admin\n" + std::string(line), true);
    const Decision decision =
        Decide(policy, Alice(), Action::SendControl(kSystemInterface, 0, 11001));
    EXPECT_FALSE(decision.allowed) << line;
    EXPECT_EQ(decision.needed, Role::kAdmin) << line;
    EXPECT_EQ(decision.neededBy, "default") << line;
    EXPECT_EQ(decision.decidedBy, "f:1") << line;
    EXPECT_TRUE(Decide(policy, Root(), Action::SendControl(kSystemInterface, 0, 11001)).allowed)
        << line;
  }
}

TEST(DecideRestart, IsGuardedWithEverySelector) {
  const AccessPolicy policy = Policy("user alice operator\n", true);
  for (const std::uint32_t selector : {0U, 1U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(
        Decide(policy, Alice(), Action::SendControl(kRebootInterface, selector, 11001)).allowed);
  }
}

TEST(DecideRestart, IsNotWhatControl11001MeansThroughOtherInterfaces) {
  const AccessPolicy policy = Policy("user alice operator\n");
  EXPECT_TRUE(Decide(policy, Alice(), Action::SendControl(kTrace, 0, 11001)).allowed);
  EXPECT_TRUE(Decide(policy, Alice(), Action::SendControl(kSystemInterface, 0, 11005)).allowed);
}

TEST(DecideByDefaultPolicy, LetsRootAndTheServicesOwnUserDoAllButRestart) {
  const AccessPolicy policy = AccessPolicy::Default(1000);
  for (const Caller& caller : {Root(), Alice()}) {
    for (const Action& action : AllActions()) {
      const Decision decision = Decide(policy, caller, action);
      EXPECT_TRUE(decision.allowed) << decision.sentence;
      EXPECT_EQ(decision.decidedBy, "default");
    }
    EXPECT_FALSE(Decide(policy, caller, Action::SendControl(kRebootInterface, 0, 11001)).allowed);
  }
  for (const Action& action : AllActions()) {
    EXPECT_FALSE(Decide(policy, Bob(), action).allowed);
    EXPECT_FALSE(Decide(policy, Ci(), action).allowed);
  }
}

TEST(DecisionSentence, SaysWhoWhatWhatItNeedsAndWhichLineDecides) {
  const AccessPolicy policy =
      Policy("user alice operator\nuser root admin\ncontrol trace * 11005 admin\n");
  EXPECT_EQ(Decide(policy, Alice(), Action::Read()).sentence,
            "user alice (1000) may read: that needs observer, and f:1 gives operator.");
  EXPECT_EQ(Decide(policy, Alice(), Action::SendControl(kTrace, 0, 11005)).sentence,
            "user alice (1000) may not send control 11005, selector 0, through interface trace: "
            "that needs admin by f:3, and f:1 gives operator.");
  EXPECT_EQ(Decide(policy, Ci(), Action::RaiseEvent()).sentence,
            "token ci may not raise an event: that needs operator, and no line of f gives token ci "
            "a role.");
  EXPECT_EQ(Decide(policy, Root(), Action::SendControl(kRebootInterface, 0, 11001)).sentence,
            "user root (0) may not send control 11001, selector 0, through interface reboot "
            "(restart the machine): that needs admin, and f:2 gives admin, but the service was "
            "started without --allow-restart: it restarts the machine for nobody.");
  EXPECT_EQ(Decide(policy, Alice(), Action::SendControl(kSystemInterface, 1, 11001)).sentence,
            "user alice (1000) may not send control 11001, selector 1, through interface system "
            "(restart the machine): that needs admin, and f:1 gives operator; besides, the service "
            "was started without --allow-restart: it restarts the machine for nobody.");
}

TEST(DecisionSentence, SaysThatThereIsNoAccessFile) {
  const AccessPolicy policy = AccessPolicy::Default(0);
  EXPECT_EQ(Decide(policy, Root(), Action::SetTraceLevel()).sentence,
            "user root (0) may set the trace level: that needs operator, and root and the "
            "service's own user are admin, as there is no access file.");
  EXPECT_EQ(Decide(policy, Bob(), Action::Admin()).sentence,
            "user bob (1001) may not administer the service: that needs admin, and without an "
            "access file only root and the service's own user hold a role.");
  EXPECT_EQ(Decide(policy, Ci(), Action::Read()).sentence,
            "token ci may not read: that needs observer, and without an access file no token holds "
            "a role.");
}

TEST(CallerText, NamesUsersWithTheirNumbersAndTokens) {
  EXPECT_EQ(Alice().Text(), "user alice (1000)");
  EXPECT_EQ(CallerForTests::Peer("", 4711).Text(), "user 4711");
  EXPECT_EQ(Ci().Text(), "token ci");
}

TEST(ActionName, IsOneWordForPrograms) {
  std::vector<std::string_view> names;
  for (const Action& action : AllActions()) {
    names.push_back(action.Name());
  }
  EXPECT_EQ(names, (std::vector<std::string_view>{"read", "control", "raise-event", "trace-level",
                                                  "admin"}));
}

}  // namespace
}  // namespace ktsvc::access
