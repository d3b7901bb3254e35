// Random policies, callers and actions, decided by the code and by the plainest way to say the
// same.

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include "access/access_decision.h"
#include "access/interface_names.h"
#include "caller_for_tests.h"
#include "names_for_tests.h"

namespace ktsvc::access {
namespace {

constexpr std::uint32_t kRounds = 6000;

const std::vector<std::string> kNames{"root", "alice", "bob"};
const std::vector<std::uint32_t> kIds{0, 1000, 1001, 6};
const std::vector<std::string> kInterfaces{"system", "reboot", "trace"};
const std::vector<std::uint32_t> kSelectors{0, 1};
const std::vector<std::uint32_t> kCodes{11001, 11005};
const std::vector<std::string> kRoles{"observer", "operator", "admin"};

// One line in words: "user", "alice", ..., its role last.
using Words = std::vector<std::string>;

class Dice {
 public:
  explicit Dice(std::uint32_t seed) : random_(seed) {}

  std::size_t Below(std::size_t end) { return random_() % end; }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <typename List>
  const auto& Of(const List& list) {
    return list[Below(list.size())];
  }
  std::string NumberOrStar(const std::vector<std::uint32_t>& numbers) {
    return OneIn(3) ? std::string("*") : std::to_string(Of(numbers));
  }

 private:
  std::mt19937 random_;
};

std::vector<Words> RandomLines(Dice& dice) {
  std::vector<Words> lines;
  std::set<Words> seen;
  for (std::size_t count = dice.Below(9); count > 0; --count) {
    Words words;
    switch (dice.Below(5)) {
      case 0:
        words = {"user", dice.OneIn(2) ? dice.Of(kNames) : std::to_string(dice.Of(kIds))};
        break;
      case 1:
        words = {"group", dice.OneIn(2) ? dice.Of(kNames) : std::to_string(dice.Of(kIds))};
        break;
      case 2:
        words = {"token", dice.Of(kNames)};
        break;
      default:
        words = {"control", dice.Of(kInterfaces), dice.NumberOrStar(kSelectors),
                 dice.NumberOrStar(kCodes)};
    }
    if (seen.insert(words).second) {
      words.push_back(dice.Of(kRoles));
      lines.push_back(words);
    }
  }
  return lines;
}

std::string FileOf(const std::vector<Words>& lines) {
  std::string text;
  for (const Words& words : lines) {
    for (const std::string& word : words) {
      text += word + " ";
    }
    text += "\n";
  }
  return text;
}

Caller RandomCaller(Dice& dice) {
  if (dice.OneIn(3)) {
    return CallerForTests::Token(dice.Of(kNames));
  }
  std::vector<Caller::Group> groups;
  for (std::size_t count = dice.Below(3) + 1; count > 0; --count) {
    groups.push_back({dice.Of(kIds), dice.OneIn(4) ? std::string() : dice.Of(kNames)});
  }
  return CallerForTests::Peer(dice.OneIn(4) ? std::string() : dice.Of(kNames), dice.Of(kIds),
                              groups);
}

struct Question {
  Action action;
  std::string interface;  // its words as a line would have them
};

Question RandomQuestion(Dice& dice) {
  switch (dice.Below(8)) {
    case 0:
      return {Action::Read(), ""};
    case 1:
      return {Action::RaiseEvent(), ""};
    case 2:
      return {Action::SetTraceLevel(), ""};
    case 3:
      return {Action::Admin(), ""};
    default: {
      const std::string& interface = dice.Of(kInterfaces);
      return {
          Action::SendControl(*InterfaceFromText(interface), dice.Of(kSelectors), dice.Of(kCodes)),
          interface};
    }
  }
}

int Rank(const std::string& role) {
  return role == "observer" ? 1 : role == "operator" ? 2 : 3;
}

// The highest role of the lines that name the caller.
int HeldByTheBook(const std::vector<Words>& lines, const Caller& caller) {
  int held = 0;
  for (const Words& words : lines) {
    bool names = false;
    if (words[0] == "token") {
      names = caller.kind() == Caller::Kind::kToken && caller.name() == words[1];
    } else if (caller.kind() == Caller::Kind::kUnixPeer && words[0] == "user") {
      names = words[1] == std::to_string(caller.uid()) || words[1] == caller.name();
    } else if (caller.kind() == Caller::Kind::kUnixPeer && words[0] == "group") {
      for (const Caller::Group& group : caller.groups()) {
        names = names || words[1] == std::to_string(group.id) || words[1] == group.name;
      }
    }
    if (names) {
      held = std::max(held, Rank(words.back()));
    }
  }
  return held;
}

// What the first of the four forms of a control line says that is there, from the closest on.
int NeededByTheBook(const std::vector<Words>& lines, const Question& question) {
  const Action& action = question.action;
  if (action.kind != Action::Kind::kSendControl) {
    return action.kind == Action::Kind::kRead ? 1 : action.kind == Action::Kind::kAdmin ? 3 : 2;
  }
  if (action.code == 11001 && question.interface != "trace") {
    return 3;
  }
  const std::string selector = std::to_string(action.selector);
  const std::string code = std::to_string(action.code);
  for (const Words& form :
       {Words{selector, code}, Words{"*", code}, Words{selector, "*"}, Words{"*", "*"}}) {
    for (const Words& words : lines) {
      if (words[0] == "control" && words[1] == question.interface && words[2] == form[0] &&
          words[3] == form[1]) {
        return Rank(words.back());
      }
    }
  }
  return 2;
}

TEST(DecideAndExplain, AgreeWithThePlainRulesForRandomPoliciesCallersAndActions) {
  std::size_t allowed = 0;
  for (std::uint32_t seed = 0; seed < kRounds; ++seed) {
    Dice dice(seed);
    const std::vector<Words> lines = RandomLines(dice);
    const bool allowRestart = dice.OneIn(2);
    const AccessPolicy policy =
        AccessPolicy::Parse(FileOf(lines), "f", NamesForTests(), {allowRestart});
    const Caller caller = RandomCaller(dice);
    const Question question = RandomQuestion(dice);

    const int held = HeldByTheBook(lines, caller);
    const int needed = NeededByTheBook(lines, question);
    const bool restart = question.action.kind == Action::Kind::kSendControl &&
                         question.action.code == 11001 && question.interface != "trace";
    const bool expected = held > 0 && held >= needed && (!restart || allowRestart);

    const Decision decision = Decide(policy, caller, question.action);
    const std::string what =
        "seed " + std::to_string(seed) + ":\n" + FileOf(lines) + decision.sentence;
    ASSERT_EQ(decision.allowed, expected) << what;
    ASSERT_EQ(static_cast<int>(decision.held), held) << what;
    ASSERT_EQ(static_cast<int>(decision.needed), needed) << what;
    ASSERT_EQ(decision.status, expected ? 0U : 0x80070005U) << what;
    allowed += decision.allowed ? 1 : 0;

    const Explanation explanation = Explain(policy, caller, question.action);
    ASSERT_EQ(explanation.decision.allowed, decision.allowed) << what;
    ASSERT_EQ(explanation.decision.sentence, decision.sentence) << what;
    ASSERT_EQ(explanation.decision.decidedBy, decision.decidedBy) << what;
    ASSERT_GE(explanation.lines.size(), lines.size()) << what;
    bool found = decision.decidedBy == "default";
    for (const ConsideredLine& line : explanation.lines) {
      ASSERT_TRUE(line.applies || !line.decides) << what;
      found = found || (line.decides && line.where == decision.decidedBy);
    }
    ASSERT_TRUE(found) << what;
  }
  // Both answers are common, or the test would say little.
  EXPECT_GT(allowed, kRounds / 10);
  EXPECT_LT(allowed, kRounds * 9 / 10);
}

TEST(Decide, DoesNotChangeForLinesAboutOthers) {
  for (std::uint32_t seed = 0; seed < kRounds / 4; ++seed) {
    Dice dice(seed);
    std::vector<Words> lines = RandomLines(dice);
    const Caller caller = RandomCaller(dice);
    const Question question = RandomQuestion(dice);
    const bool before =
        Decide(AccessPolicy::Parse(FileOf(lines), "f", NamesForTests()), caller, question.action)
            .allowed;
    lines.push_back({"user", "4711", "admin"});
    lines.push_back({"token", "another", "observer"});
    const bool after =
        Decide(AccessPolicy::Parse(FileOf(lines), "f", NamesForTests()), caller, question.action)
            .allowed;
    ASSERT_EQ(before, after) << seed;
  }
}

}  // namespace
}  // namespace ktsvc::access
